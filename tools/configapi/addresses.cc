// configapi addresses [TEXT...] [--explain]

#include <CLI/App.hpp>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "arguments.h"
#include "commands.h"
#include "each_text.h"
#include "explain_addresses.h"
#include "recipients.h"

namespace configapi::tool {
namespace {

struct AddressOptions {
  std::vector<std::string> texts;
  bool explain = false;
};

void show(const std::string& text, bool explain, Tool* tool) {
  const RecipientList list(text);
  const Output& output = tool->output;
  const Remarks remarks = explain ? explain_addresses(text) : Remarks{};
  if (output.json) {
    Json row{{"text", text}, {"recipients", recipient_rows(&list.table())}};
    if (explain) {
      row["explain"] = remark_rows(remarks);
    }
    output.object(row);
  } else {
    const Recipient* one = list.table().first;
    for (; one != nullptr; one = one->next) {
      print_recipient(*one, "", output);
    }
    print_remarks(remarks, 0, output);
  }
  if (list.table().count == 0) {
    tool->report(Failure(ExitCode::kNo, "no address in " + in_quotes(text)));
  }
}

}  // namespace

void add_addresses(CLI::App* app, Tool* tool) {
  const auto options = std::make_shared<AddressOptions>();
  CLI::App* command =
      app->add_subcommand("addresses", "Split address lists into their parts");
  add_texts(command, "TEXT", &options->texts,
            "An address list; without any, each line of standard "
            "input is one");
  command->add_flag("--explain", options->explain,
                    "Say what was left out and why");
  command->callback([options, tool] {
    for_each_text(options->texts, [&](const std::string& text) {
      show(text, options->explain, tool);
    });
  });
}

}  // namespace configapi::tool
