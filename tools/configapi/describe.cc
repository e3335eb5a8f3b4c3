// configapi describe [GLOB]

#include <CLI/App.hpp>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

#include "address.h"
#include "commands.h"
#include "rules.h"
#include "session.h"
#include "setting_row.h"

namespace configapi::tool {
namespace {

std::string or_empty(std::string_view text) {
  return text.empty() ? "(empty)" : visible(text);
}

void print_lines(const Setting& setting, const Output& output) {
  output.line(address_of(setting));
  output.line("  type     " + std::string(type_name(setting.key->type)));
  output.line("  value    " + std::string(rule_of(setting.key->type)));
  output.line("  default  " + or_empty(setting.key->defaultValue));
  output.line("  table    " + or_empty(read_table(setting)));
}

void print_object(const Setting& setting, const Output& output) {
  Json row = setting_row(setting);
  add_schema(&row, setting);
  row["table"] = read_table(setting);
  output.object(row);
}

void run(const std::string& word, const Output& output) {
  for (const Setting& setting : require_settings(word)) {
    if (output.json) {
      print_object(setting, output);
    } else {
      print_lines(setting, output);
    }
  }
}

}  // namespace

void add_describe(CLI::App* app, Tool* tool) {
  const auto word = std::make_shared<std::string>();
  CLI::App* command = app->add_subcommand(
      "describe", "Show type, rule, default and table value of settings");
  command->add_option("GLOB", *word,
                      "SECTION, SECTION/KEY or KEY; each may be a glob");
  command->callback([word, tool] { run(*word, tool->output); });
}

}  // namespace configapi::tool
