// configapi headers [FILE...] [--field NAME] [--explain]

#include <CLI/App.hpp>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <utility>
#include <vector>

#include "arguments.h"
#include "commands.h"
#include "explain_body.h"
#include "explain_header.h"
#include "header_view.h"
#include "mailbox.h"
#include "progress.h"

namespace configapi::tool {
namespace {

struct HeaderOptions {
  std::vector<std::string> files;
  std::vector<std::string> fields;
  bool explain = false;
};

std::vector<HeaderRemark> explain(const MailFile& file, const Message& message,
                                  Mailbox* mailbox) {
  auto remarks = explain_header(file, message);
  if (!message.complaint.empty()) {
    remarks.push_back({message.line, message.byte, "", {message.complaint}});
  }
  const auto more = explain_body(file, message, mailbox);
  remarks.insert(remarks.end(), more.begin(), more.end());
  return remarks;
}

class HeaderCommand {
 public:
  HeaderCommand(const HeaderOptions& options, Tool* tool)
      : options_(options),
        choice_(options.fields),
        output_(tool->output),
        progress_(&tool->output) {}

  // Shows every message of the file.
  void show_file(const std::string& path);

  // Whether a message had one of the fields that were asked for.
  [[nodiscard]] bool any() const { return any_; }

 private:
  void show_progress(const MailFile& file, const Message& message);
  void print_message(const MailFile& file, const Message& message,
                     const std::vector<HeaderRemark>& remarks);
  void print_object(const MailFile& file, const Message& message,
                    const std::vector<HeaderRemark>& remarks);

  const HeaderOptions& options_;
  const FieldChoice choice_;
  const Output& output_;
  Progress progress_;
  bool any_ = false;
};

void HeaderCommand::show_file(const std::string& path) {
  const MailFile file(path, [this](long bytes) {
    if (progress_.is_due()) {
      progress_.show(std::to_string(bytes) + " bytes read");
    }
  });
  Mailbox mailbox(file);
  while (const auto message = mailbox.next()) {
    const auto remarks = options_.explain ? explain(file, *message, &mailbox)
                                          : std::vector<HeaderRemark>{};
    if (output_.json) {
      print_object(file, *message, remarks);
    } else {
      print_message(file, *message, remarks);
    }
    show_progress(file, *message);
  }
}

void HeaderCommand::show_progress(const MailFile& file,
                                  const Message& message) {
  if (progress_.is_due()) {
    const auto percent = 100.0 * static_cast<double>(message.end) /
                         static_cast<double>(file.size());
    progress_.show(std::to_string(static_cast<int>(percent)) + " % read, " +
                   std::to_string(message.number) + " messages");
  }
}

void HeaderCommand::print_message(const MailFile& file, const Message& message,
                                  const std::vector<HeaderRemark>& remarks) {
  if (choice_.all()) {
    output_.line(visible(file.name()) + ": message " +
                 std::to_string(message.number) + ", line " +
                 std::to_string(message.line) + ", byte " +
                 std::to_string(message.byte));
  }
  any_ = print_header(*message.header, choice_, output_) || any_;
  for (const HeaderRemark& one : remarks) {
    output_.line("  ! line " + std::to_string(one.line) + ": " +
                 (one.header.empty() ? "" : visible(one.header) + ": ") +
                 remark_line(one.remark));
  }
}

void HeaderCommand::print_object(const MailFile& file, const Message& message,
                                 const std::vector<HeaderRemark>& remarks) {
  Json fields = header_row(*message.header, choice_);
  any_ = any_ || !fields.empty();
  Json row{{"file", file.name()},
           {"message", message.number},
           {"line", message.line},
           {"byte", message.byte},
           {"header_lines", message.header_lines}};
  if (message.status_line > 0) {
    row["status_line"] = message.line + message.status_line - 1;
  }
  row["fields"] = std::move(fields);
  if (options_.explain) {
    Json rows = Json::array();
    for (const HeaderRemark& one : remarks) {
      Json entry{
          {"line", one.line}, {"byte", one.byte}, {"header", one.header}};
      entry.update(remark_row(one.remark));
      rows.push_back(std::move(entry));
    }
    row["explain"] = std::move(rows);
  }
  output_.object(row);
}

void run(const HeaderOptions& options, Tool* tool) {
  const LineIo line_io;
  HeaderCommand command(options, tool);
  const bool from_input = options.files.empty();
  for (const auto& file :
       from_input ? std::vector<std::string>{"-"} : options.files) {
    try {
      command.show_file(file);
    } catch (const Failure& failure) {
      // The other files are shown all the same.
      tool->report(failure);
    }
  }
  if (!options.fields.empty() && !command.any()) {
    tool->report(Failure(ExitCode::kNo, "no message has such a field"));
  }
}

}  // namespace

void add_headers(CLI::App* app, Tool* tool) {
  const auto options = std::make_shared<HeaderOptions>();
  CLI::App* command = app->add_subcommand(
      "headers", "Show the headers of messages and mailboxes");
  add_texts(command, "FILE", &options->files,
            "Message file or mailbox; standard input without any");
  add_texts(command, "--field", &options->fields,
            "Only this field's value, by its header's name")
      ->type_name("NAME")
      ->allow_extra_args(false);
  command->add_flag("--explain", options->explain,
                    "Say what was left out and why");
  command->callback([options, tool] { run(*options, tool); });
}

}  // namespace configapi::tool
