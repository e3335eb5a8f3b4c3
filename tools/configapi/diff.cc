// configapi diff [FILE] [--with HOST[:PORT]] [--replace] [--secrets]

#include <CLI/App.hpp>
#include <charconv>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "commands.h"
#include "difference.h"
#include "holdings.h"
#include "link.h"
#include "settings_file.h"

namespace configapi::tool {
namespace {

struct DiffOptions {
  std::string file = "-";
  std::optional<std::string> other;
  bool replace = false;
  bool secrets = false;
};

// HOST, HOST:PORT, [ADDRESS]:PORT, a URI, or several of them; an address with
// colons and no brackets has no port.
Connection with_host(Connection connection, std::string_view word) {
  const std::size_t colon = word.rfind(':');
  const bool has_port = colon != std::string_view::npos &&
                        word.find("://") == std::string_view::npos &&
                        word.find_first_of(" \t") == std::string_view::npos &&
                        (word.starts_with('[') ? word[colon - 1] == ']'
                                               : word.find(':') == colon);
  connection.host = word.substr(0, has_port ? colon : word.size());
  if (connection.host.empty()) {
    throw Failure(ExitCode::kUsage,
                  "no host in '" + std::string(word) + "' (--with)");
  }
  if (has_port) {
    constexpr int kMaxPort = 65535;
    const char* const end = word.data() + word.size();
    const auto [behind, error] =
        std::from_chars(word.data() + colon + 1, end, connection.port);
    if (error != std::errc() || behind != end || connection.port < 1 ||
        connection.port > kMaxPort) {
      throw Failure(ExitCode::kUsage,
                    "no port in '" + std::string(word) + "' (--with)");
    }
  }
  return connection;
}

Holdings holdings_of(const Connection& connection, const Output& output) {
  return Holdings(Link(connection, output).entries());
}

std::vector<Difference> to_other(const std::string& other, const Tool& tool) {
  const auto wanted =
      wanted_of(holdings_of(with_host(tool.connection, other), tool.output));
  return differences(holdings_of(tool.connection, tool.output), wanted,
                     Unnamed::kGo);
}

// None where the file is wrong; its faults have been reported then. A value
// that is not allowed is a difference like any other.
std::vector<Difference> to_file(const DiffOptions& options, Tool* tool) {
  const SettingsFile file(options.file);
  for (const FileFault& fault : file.faults()) {
    tool->report(file.failure(fault));
  }
  if (!file.faults().empty()) {
    return {};
  }
  const Holdings now = holdings_of(tool->connection, tool->output);
  auto wanted = file.wanted();
  std::vector<FileFault> not_allowed;
  judge_all(&wanted, now, &not_allowed);
  return differences(now, wanted,
                     options.replace ? Unnamed::kGo : Unnamed::kStay);
}

void run(const DiffOptions& options, Tool* tool) {
  const auto list =
      options.other ? to_other(*options.other, *tool) : to_file(options, tool);
  for (const Difference& difference : list) {
    print(difference, options.secrets, tool->output);
  }
  if (!list.empty()) {
    tool->fail(ExitCode::kNo);
  }
}

}  // namespace

void add_diff(CLI::App* app, Tool* tool) {
  const auto options = std::make_shared<DiffOptions>();
  CLI::App* command = app->add_subcommand(
      "diff", "Show what would make the directory like a file or another one");
  auto* const file =
      command->add_option("FILE", options->file,
                          "INI text as export writes it; - is standard input");
  const auto take_other = [options](const CLI::results_t& words) {
    options->other = words.front();
    return true;
  };
  command->add_option("--with", take_other, "The other directory")
      ->type_name("HOST[:PORT]")
      ->excludes(file);
  command->add_flag("--replace", options->replace,
                    "Count settings that the file does not name, too");
  command->add_flag("--secrets", options->secrets, "Show passwords in clear");
  command->callback([options, tool] { run(*options, tool); });
}

}  // namespace configapi::tool
