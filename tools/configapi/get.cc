// configapi get ADDRESS... [--table]

#include <CLI/App.hpp>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "address.h"
#include "arguments.h"
#include "commands.h"
#include "setting_row.h"

namespace configapi::tool {
namespace {

struct GetOptions {
  std::vector<std::string> addresses;
  bool from_table = false;
};

// Where values come from: the directory, or the schema table without one.
class Source {
 public:
  Source(bool from_table, const Tool& tool) {
    if (!from_table) {
      session_.emplace(tool.connection, tool.output);
    }
  }

  std::optional<std::string> read(const Setting& setting) {
    return session_ ? session_->read(setting) : read_table(setting);
  }

 private:
  std::optional<Session> session_;
};

void print(const Setting& setting, const std::string& value,
           const Output& output) {
  if (output.json) {
    Json row = setting_row(setting);
    row["value"] = value;
    output.object(row);
  } else {
    output.line(visible(value));
  }
}

// A glob asks for what is there, an address for one value.
void get(const std::string& word, Source* source, Tool* tool) {
  bool any = false;
  for (const Setting& setting : require_addressed(word)) {
    if (const auto value = source->read(setting)) {
      any = true;
      print(setting, *value, tool->output);
    }
  }
  if (!any) {
    const Selection selection(word);
    tool->report(
        absent(selection.is_glob()
                   ? "nothing that matches '" + word + "' is set"
                   : address_of(selection.settings().front()) + " is not set",
               tool->connection));
  }
}

void run(const GetOptions& options, Tool* tool) {
  // A misspelt name is found before anything is asked or printed.
  for (const auto& word : options.addresses) {
    require_addressed(word);
  }
  Source source(options.from_table, *tool);
  for (const auto& word : options.addresses) {
    get(word, &source, tool);
  }
}

}  // namespace

void add_get(CLI::App* app, Tool* tool) {
  const auto options = std::make_shared<GetOptions>();
  CLI::App* command =
      app->add_subcommand("get", "Print the values of settings");
  add_texts(command, "ADDRESS", &options->addresses,
            "SECTION/KEY, or a glob for many")
      ->required();
  command->add_flag("--table", options->from_table,
                    "Read the schema table, without a directory");
  command->callback([options, tool] { run(*options, tool); });
}

}  // namespace configapi::tool
