// configapi import [FILE] [--replace] [-n] [--secrets]

#include <CLI/App.hpp>
#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "commands.h"
#include "edit.h"
#include "settings_file.h"

namespace configapi::tool {
namespace {

struct ImportOptions : EditOptions {
  std::string file = "-";
  bool replace = false;
};

// False when there are faults; each has been reported then.
bool is_right(const SettingsFile& file, std::vector<FileFault> faults,
              Tool* tool) {
  std::stable_sort(
      faults.begin(), faults.end(),
      [](const FileFault& a, const FileFault& b) { return a.line < b.line; });
  for (const FileFault& fault : faults) {
    tool->report(file.failure(fault));
  }
  return faults.empty();
}

void warn_of_lost_secrets(const std::vector<Wanted>& wanted,
                          const Holdings& now, const Output& output) {
  for (const Wanted& one : wanted) {
    if (one.masked && values_now(now, one.setting).empty()) {
      output.warning(address_of(one.setting) +
                     " is masked in the file, and stays not set");
    }
  }
}

void run(const ImportOptions& options, Tool* tool) {
  const SettingsFile file(options.file);
  std::vector<Wanted> wanted = file.wanted();
  std::vector<FileFault> faults = file.faults();
  if (!faults.empty()) {
    judge_all(&wanted, Holdings({}), &faults);
    is_right(file, faults, tool);
    return;
  }
  // More likely an export that failed than a wish.
  if (options.replace && wanted.empty()) {
    throw Failure(
        ExitCode::kNo,
        file.name() + " holds no setting: --replace would leave none");
  }
  Editor editor(options, tool);
  const Holdings now = editor.read();
  judge_all(&wanted, now, &faults);
  if (!is_right(file, faults, tool)) {
    return;
  }
  warn_of_lost_secrets(wanted, now, tool->output);
  const auto list =
      differences(now, wanted, options.replace ? Unnamed::kGo : Unnamed::kStay);
  for (const Difference& difference : list) {
    print(difference, options.secrets, tool->output);
  }
  editor.carry_out(list);
  editor.read_back(list, false);
}

}  // namespace

void add_import(CLI::App* app, Tool* tool) {
  const auto options = std::make_shared<ImportOptions>();
  CLI::App* command = app->add_subcommand(
      "import", "Change settings to what a file says, all of them or none");
  command->add_option("FILE", options->file,
                      "As export writes it; - or none is standard input");
  command->add_flag("--replace", options->replace,
                    "Remove the settings that the file does not have; what "
                    "the schema does not know stays");
  add_edit_options(command, options.get());
  command->callback([options, tool] { run(*options, tool); });
}

}  // namespace configapi::tool
