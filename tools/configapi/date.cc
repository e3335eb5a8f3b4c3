// configapi date [TEXT...] [--ctime] [--explain]

#include <CLI/App.hpp>
#include <ctime>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "arguments.h"
#include "commands.h"
#include "each_text.h"
#include "explain_date.h"

namespace configapi::tool {
namespace {

struct DateOptions {
  std::vector<std::string> texts;
  bool ctime = false;
  bool explain = false;
};

Failure no_date(const std::string& text, DateForm form) {
  const auto fault = find_date_fault(text, form);
  return {ExitCode::kNo,
          in_quotes(text) + " is no date" +
              (fault ? ": at offset " + std::to_string(*fault->offset) + " " +
                           fault->text
                     : "")};
}

void show(const std::string& text, const DateOptions& options, Tool* tool) {
  const DateForm form = options.ctime ? DateForm::kCtime : DateForm::kRfc822;
  const DatePtr date = read_date(text, form);
  const Output& output = tool->output;
  const Remarks remarks =
      options.explain ? explain_date(text, form) : Remarks{};
  if (output.json) {
    Json row{{"text", text}, {"date", nullptr}};
    if (date != nullptr) {
      row["date"] = {{"text", rfc822_text(*date)}};
      row["date"].update(date_row(*date));
    }
    if (options.explain) {
      row["explain"] = remark_rows(remarks);
    }
    output.object(row);
  } else if (date != nullptr) {
    output.line(rfc822_text(*date));
    print_remarks(remarks, 2, output);
  }
  if (date == nullptr) {
    tool->report(no_date(text, form));
  }
}

}  // namespace

void add_date(CLI::App* app, Tool* tool) {
  const auto options = std::make_shared<DateOptions>();
  CLI::App* command =
      app->add_subcommand("date", "Read dates and write them as mail does");
  add_texts(command, "TEXT", &options->texts,
            "A date; without any, each line of standard input is "
            "one");
  command->add_flag("--ctime", options->ctime,
                    "Dates are in the form of ctime(), as in envelope lines");
  command->add_flag("--explain", options->explain, "Say how each was read");
  command->callback([options, tool] {
    tzset();  // for ctime2UTC(), which only looks at what was set
    for_each_text(options->texts,
                  [&](const std::string& text) { show(text, *options, tool); });
  });
}

}  // namespace configapi::tool
