// configapi check [ADDRESS=VALUE... | FILE]

#include <CLI/App.hpp>
#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "address.h"
#include "arguments.h"
#include "commands.h"
#include "finding.h"
#include "link.h"
#include "settings_file.h"
#include "verdict.h"

namespace configapi::tool {
namespace {

bool is_assignment(const std::string& word) {
  return word.find('=') != std::string::npos;
}

void check_assignment(const std::string& word, Tool* tool) {
  const std::size_t equals = word.find('=');
  const std::string address = word.substr(0, equals);
  const auto settings = require_addressed(address);
  if (Selection(address).is_glob()) {
    throw Failure(ExitCode::kUsage,
                  "a value goes to one setting, not to '" + address + "'");
  }
  const Verdict verdict = judge(settings.front(), word.substr(equals + 1));
  if (!verdict.ok()) {
    print(finding_of(settings.front(), verdict), tool->output);
    tool->fail(verdict.code());
  }
}

void check_assignments(const std::vector<std::string>& words, Tool* tool) {
  for (const auto& word : words) {
    try {
      check_assignment(word, tool);
    } catch (const Failure& failure) {
      tool->report(failure);
    }
  }
}

void print_all(const std::vector<Finding>& findings, Tool* tool) {
  for (const Finding& finding : findings) {
    print(finding, tool->output);
    tool->fail(ExitCode::kNo);
  }
}

void check_directory(Tool* tool) {
  const auto entries = Link(tool->connection, tool->output).entries();
  // To have seen nothing is not to have found nothing.
  if (entries.empty() && tool->connection.bind_dn.empty()) {
    throw absent("nothing is set", tool->connection);
  }
  print_all(findings_in(entries), tool);
}

void run(const std::vector<std::string>& words, Tool* tool) {
  if (words.empty()) {
    check_directory(tool);
  } else if (std::all_of(words.begin(), words.end(), is_assignment)) {
    check_assignments(words, tool);
  } else if (words.size() == 1) {
    print_all(findings_in(SettingsFile(words.front())), tool);
  } else {
    throw Failure(
        ExitCode::kUsage,
        "check takes ADDRESS=VALUE, as many as you like, or one FILE");
  }
}

}  // namespace

void add_check(CLI::App* app, Tool* tool) {
  const auto words = std::make_shared<std::vector<std::string>>();
  CLI::App* command = app->add_subcommand(
      "check", "Find what is wrong with values, a file or the directory");
  add_texts(command, "SETTINGS", words.get(),
            "ADDRESS=VALUE..., or a FILE as export writes it (- is standard "
            "input); without, the directory");
  command->callback([words, tool] { run(*words, tool); });
}

}  // namespace configapi::tool
