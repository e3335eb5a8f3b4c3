// configapi list [GLOB] [-l] [--all] [--secrets]

#include <CLI/App.hpp>
#include <algorithm>
#include <array>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "address.h"
#include "commands.h"
#include "holdings.h"
#include "ini_text.h"
#include "rules.h"
#include "selected.h"
#include "setting_row.h"

namespace configapi::tool {
namespace {

struct ListOptions {
  std::string word;
  bool with_schema = false;
  bool unset_too = false;
  bool secrets = false;
};

class Printer {
 public:
  Printer(const ListOptions& options, const Output& output)
      : options_(options), output_(output) {}

  void print(const Holding& holding) const {
    if (output_.json) {
      print_object(holding);
    } else if (holding.values.empty()) {
      print_line(holding, "");
    } else {
      for (const auto& value : holding.values) {
        print_line(holding, "=" + shown(holding, value));
      }
    }
  }

 private:
  [[nodiscard]] bool is_masked(const Holding& holding) const {
    return !options_.secrets && is_secret(holding.key);
  }

  [[nodiscard]] std::string shown(const Holding& holding,
                                  const std::string& value) const {
    return is_masked(holding) ? std::string(kMask) : visible(value);
  }

  void print_line(const Holding& holding, const std::string& value) const {
    std::string line = holding.in_schema() ? "" : "? ";
    line += visible(holding.section) + "/" + visible(holding.key) + value;
    if (options_.with_schema && holding.in_schema()) {
      const cfgKey& key = *holding.setting->key;
      pad_to(&line, 48);
      line += type_name(key.type);
      pad_to(&line, 70);
      line += "default " + visible(key.defaultValue);
      pad_to(&line, 96);
      line += rule_of(key.type);
    }
    output_.line(line);
  }

  void print_object(const Holding& holding) const {
    Json row = setting_row(holding.section, holding.key);
    const bool masked = is_masked(holding) && !holding.values.empty();
    row["set"] = !holding.values.empty();
    row["known"] = holding.in_schema();
    if (masked) {
      row["masked"] = true;
    } else if (!holding.values.empty()) {
      row["value"] = holding.values.back();
      if (holding.values.size() > 1) {
        row["values"] = holding.values;
      }
    }
    if (options_.with_schema && holding.in_schema()) {
      add_schema(&row, *holding.setting);
    }
    output_.object(row);
  }

  const ListOptions& options_;
  const Output& output_;
};

void run(const ListOptions& options, Tool* tool) {
  const Selection selection(options.word);
  Session session(tool->connection, tool->output);
  const Holdings holdings(session.entries());
  warn_of_shadowed(holdings, tool->output);
  const Printer printer(options, tool->output);
  bool any = false;
  for (const Holding& holding : holdings.all()) {
    const bool wanted = options.unset_too || !holding.values.empty();
    if (wanted && is_selected(holding, selection)) {
      printer.print(holding);
      any = true;
    }
  }
  if (!any) {
    throw nothing_set(options.word, tool->connection);
  }
}

}  // namespace

void add_list(CLI::App* app, Tool* tool) {
  const auto options = std::make_shared<ListOptions>();
  CLI::App* command =
      app->add_subcommand("list", "List the settings that the directory holds");
  command->add_option("GLOB", options->word,
                      "SECTION, SECTION/KEY or KEY; each may be a glob");
  command->add_flag("-l", options->with_schema,
                    "Show type, default and rule too");
  command->add_flag("--all", options->unset_too,
                    "Show settings that are not set too");
  command->add_flag("--secrets", options->secrets, "Show passwords in clear");
  command->callback([options, tool] { run(*options, tool); });
}

}  // namespace configapi::tool
