// configapi, the administrator's command-line tool: the options that all
// commands share, and the way in and out.

#include <fcntl.h>
#include <unistd.h>

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <exception>
#include <string>
#include <string_view>
#include <vector>

#include "arguments.h"
#include "commands.h"
#include "complete.h"
#include "host.h"
#include "nearest.h"
#include "secret.h"

namespace configapi::tool {
namespace {

constexpr const char* kExitCodes =
    "Exit codes: 0 done, 1 the answer is no, 2 usage, 3 not in the schema,\n"
    "4 directory not reachable or bind refused, 5 directory refused the "
    "request,\n6 type not writable, 7 conflict, 8 file or output error.\n";

void add_connection(CLI::App* app, Connection* connection) {
  app->add_option("-H", connection->host, "The directory's host")
      ->envname("CONFIGAPI_HOST")
      ->type_name("HOST")
      ->capture_default_str();
  app->add_option("-p", connection->port, "Its port")
      ->envname("CONFIGAPI_PORT")
      ->type_name("PORT")
      ->check(CLI::Range(1, 65535))
      ->capture_default_str();
  app->add_option("-D", connection->bind_dn, "Bind as this entry")
      ->envname("CONFIGAPI_BINDDN")
      ->type_name("DN");
  app->add_option("-y", connection->password_file,
                  "Take the bind's password from a file; - asks for it")
      ->envname("CONFIGAPI_PASSFILE")
      ->type_name("FILE");
  app->add_option("-t", connection->seconds, "Longest wait for an answer")
      ->envname("CONFIGAPI_TIMEOUT")
      ->type_name("SECONDS")
      ->check(CLI::Range(1U, 86400U))
      ->capture_default_str();
}

void add_common(CLI::App* app, Tool* tool) {
  // The first ones, for they are evaluated in this order, and say how a wrong
  // value of the others is told.
  app->add_flag_callback(
      "-q",
      [tool] {
        tool->output.quiet = true;
        hide_log();
      },
      "Say nothing on standard error");
  app->add_flag("--json", tool->output.json, "Print one JSON object per line");
  app->add_flag_callback("-v", show_log, "Show the library's log lines");
  add_connection(app, &tool->connection);
  app->set_version_flag("--version", "configapi " CONFIGAPI_VERSION);
}

void add_commands(CLI::App* app, Tool* tool) {
  app->require_subcommand(1);
  app->fallthrough();  // common options may follow the command too
  app->footer(kExitCodes);
  add_get(app, tool);
  add_list(app, tool);
  add_describe(app, tool);
  add_set(app, tool);
  add_unset(app, tool);
  add_check(app, tool);
  add_export(app, tool);
  add_import(app, tool);
  add_diff(app, tool);
  add_watch(app, tool);
  add_headers(app, tool);
  add_addresses(app, tool);
  add_date(app, tool);
  add_dn(app, tool);
  add_completion(app, tool);
}

// The word that stands where a command should, with the nearest one.
Failure usage_failure(const CLI::App& app, const CLI::ParseError& error) {
  if (!app.get_subcommands().empty()) {
    return {ExitCode::kUsage, error.what()};
  }
  std::vector<std::string> commands;
  for (const CLI::App* command : app.get_subcommands({})) {
    commands.push_back(command->get_name());
  }
  for (const auto& word : app.remaining()) {
    if (!word.starts_with('-')) {
      return {ExitCode::kUsage, "no command '" + word + "'",
              nearest_name(word, commands)};
    }
  }
  return {ExitCode::kUsage, error.what()};
}

ExitCode parse_and_run(CLI::App* app, int argc, char** argv, Tool* tool) try {
  parse_words(app, argc, argv);
  Output::finish();
  return tool->result;
} catch (const CLI::Success& success) {  // --help, --version
  const int done = app->exit(success);
  Output::finish();
  return static_cast<ExitCode>(done);
} catch (const CLI::ParseError& error) {
  throw usage_failure(*app, error);
}

// What the completion scripts ask: the words of a half-typed command line, or
// --line and the line. Not a command, for such words need not parse.
ExitCode print_completions(const CLI::App& app, int argc, char** argv,
                           const Output& output) {
  std::vector<std::string> words(argv + 2, argv + argc);
  if (words.size() == 2 && words.front() == "--line") {
    words = split_line(words.back());
  }
  if (words.empty()) {
    return ExitCode::kNo;
  }
  const auto found = complete(app, words);
  if (!found) {
    return ExitCode::kNo;
  }
  for (const auto& word : *found) {
    output.line(word);
  }
  Output::finish();
  return ExitCode::kDone;
}

// With one of the standard descriptors closed, the next file or connection
// would take its number, and what is printed would go there.
void fill_standard_descriptors() {
  for (int fd = STDIN_FILENO; fd <= STDERR_FILENO; ++fd) {
    if (fcntl(fd, F_GETFD) < 0) {
      // Opened the wrong way round, so that using it still fails.
      ::open("/dev/null", fd == STDIN_FILENO ? O_WRONLY : O_RDONLY);
    }
  }
}

ExitCode run(int argc, char** argv) {
  Tool tool;
  try {
    CLI::App app("Settings, addresses, headers and dates of the mail gateway",
                 "configapi");
    add_common(&app, &tool);
    add_commands(&app, &tool);
    if (argc > 1 && argv[1] == std::string_view("complete")) {
      return print_completions(app, argc, argv, tool.output);
    }
    return parse_and_run(&app, argc, argv, &tool);
  } catch (const Failure& failure) {
    tool.report(failure);
  } catch (const std::exception& error) {
    tool.report(Failure(ExitCode::kFile, error.what()));
  }
  return tool.result;
}

}  // namespace

void Tool::report(const Failure& failure) {
  output.error(failure);
  fail(failure.code());
}

void Tool::fail(ExitCode code) {
  if (result == ExitCode::kDone) {
    result = code;
  }
}

}  // namespace configapi::tool

int main(int argc, char** argv) {
  configapi::tool::fill_standard_descriptors();
  configapi::tool::wipe_what_ldap_frees();
  return static_cast<int>(configapi::tool::run(argc, argv));
}
