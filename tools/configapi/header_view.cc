#include "header_view.h"

#include <algorithm>
#include <array>
#include <nlohmann/json.hpp>
#include <utility>

#include "explain_date.h"
#include "nearest.h"
#include "recipients.h"

namespace configapi::tool {
namespace {

// Fields have the names of the headers that they are filled from.
struct AddressField {
  const char* name;
  AddrList* Header822::*list;
};
struct TextField {
  const char* name;
  char* Header822::*text;
};

constexpr std::array kAddressFields = {
    AddressField{"from", &Header822::from},
    AddressField{"reply-to", &Header822::replyTo},
    AddressField{"to", &Header822::to},
    AddressField{"cc", &Header822::cc},
    AddressField{"bcc", &Header822::bcc},
    AddressField{"return-receipt-to", &Header822::returnReceiptTo},
    AddressField{"resent-from", &Header822::resentFrom},
    AddressField{"resent-to", &Header822::resentTo},
    AddressField{"resent-cc", &Header822::resentCc},
    AddressField{"resent-bcc", &Header822::resentBcc},
};

constexpr std::array kTextFields = {
    TextField{"envelope", &Header822::envelope},
    TextField{"return-path", &Header822::returnPath},
    TextField{"sender", &Header822::sender},
    TextField{"subject", &Header822::subject},
    TextField{"message-id", &Header822::messageId},
    TextField{"in-reply-to", &Header822::inReplyTo},
    TextField{"references", &Header822::references},
    TextField{"resent-message-id", &Header822::resentMessageId},
    TextField{"status", &Header822::status},
    TextField{"mime-version", &Header822::mimeVersion},
    TextField{"content-type", &Header822::contentType},
    TextField{"content-transfer-encoding", &Header822::contentTransferEncoding},
    TextField{"content-id", &Header822::contentId},
    TextField{"content-description", &Header822::contentDescription},
};

constexpr const char* kDate = "date";
constexpr const char* kReceived = "received";
constexpr const char* kOther = "other";

std::string_view without_colon(std::string_view name) {
  name.remove_suffix(name.ends_with(':') ? 1 : 0);
  return name;
}

// "X-mailer: abc" as name and value.
std::pair<std::string_view, std::string_view> split_other(
    std::string_view text) {
  constexpr std::string_view kSeparator = ": ";
  const std::size_t colon = std::min(text.find(kSeparator), text.size());
  const std::size_t value = std::min(colon + kSeparator.size(), text.size());
  return {text.substr(0, colon), text.substr(value)};
}

class FieldPrinter {
 public:
  FieldPrinter(const FieldChoice& choice, const Output& output)
      : choice_(choice), output_(output) {}

  void text(std::string_view name, std::string_view value) {
    any_ = true;
    output_.line(choice_.all() ? label(name) + visible(value) : visible(value));
  }

  void addresses(std::string_view name, const RecipTable* table) {
    if (table == nullptr || table->count == 0) {
      if (choice_.all()) {
        text(name, "");
      }
      return;
    }
    for (const Recipient* one = table->first; one != nullptr; one = one->next) {
      any_ = true;
      if (choice_.all()) {
        print_recipient(*one, label(name), output_);
      } else {
        output_.line(visible(one->canon));
      }
    }
  }

  [[nodiscard]] bool any() const { return any_; }

 private:
  static std::string label(std::string_view name) {
    return "  " + visible(name) + ": ";
  }

  const FieldChoice& choice_;
  const Output& output_;
  bool any_ = false;
};

Json text_rows(const TextList* list) {
  Json rows = Json::array();
  for (; list != nullptr; list = list->next) {
    rows.push_back(list->text);
  }
  return rows;
}

Json date_member(const HdrDate& date) {
  Json row{{"text", date.text}};
  if (date.utc != nullptr) {
    row.update(date_row(*date.utc));
  }
  return row;
}

// The texts that were chosen: by the name of the list, or each by its own.
Json other_rows(const TextList* list, const FieldChoice& choice) {
  Json rows = Json::array();
  for (; list != nullptr; list = list->next) {
    if (choice.has("other") || choice.has(split_other(list->text).first)) {
      rows.push_back(list->text);
    }
  }
  return rows;
}

}  // namespace

FieldChoice::FieldChoice(const std::vector<std::string>& names) {
  for (const std::string& name : names) {
    names_.emplace_back(without_colon(name));
  }
}

bool FieldChoice::has(std::string_view name) const {
  return all() || std::any_of(names_.begin(), names_.end(),
                              [name](const std::string& chosen) {
                                return same_name(chosen, name);
                              });
}

Json header_row(const Header822& header, const FieldChoice& choice) {
  Json row = Json::object();
  if (header.date != nullptr && choice.has(kDate)) {
    row[kDate] = date_member(*header.date);
  }
  for (const AddressField& field : kAddressFields) {
    const AddrList* list = header.*field.list;
    if (list != nullptr && choice.has(field.name)) {
      row[field.name] = recipient_rows(list->recips);
    }
  }
  for (const TextField& field : kTextFields) {
    const char* text = header.*field.text;
    if (text != nullptr && choice.has(field.name)) {
      row[field.name] = text;
    }
  }
  if (header.received != nullptr && choice.has(kReceived)) {
    row[kReceived] = text_rows(header.received);
  }
  if (Json others = other_rows(header.other, choice); !others.empty()) {
    row[kOther] = std::move(others);
  }
  return row;
}

bool print_header(const Header822& header, const FieldChoice& choice,
                  const Output& output) {
  FieldPrinter printer(choice, output);
  if (header.date != nullptr && choice.has(kDate)) {
    printer.text(kDate, header.date->text);
  }
  for (const AddressField& field : kAddressFields) {
    const AddrList* list = header.*field.list;
    if (list != nullptr && choice.has(field.name)) {
      printer.addresses(field.name, list->recips);
    }
  }
  for (const TextField& field : kTextFields) {
    const char* text = header.*field.text;
    if (text != nullptr && choice.has(field.name)) {
      printer.text(field.name, text);
    }
  }
  if (choice.has(kReceived)) {
    for (const TextList* one = header.received; one != nullptr;
         one = one->next) {
      printer.text(kReceived, one->text);
    }
  }
  for (const TextList* one = header.other; one != nullptr; one = one->next) {
    const auto [name, value] = split_other(one->text);
    if (choice.has(kOther)) {
      printer.text(kOther, one->text);
    } else if (choice.has(name)) {
      printer.text(kOther, value);
    }
  }
  return printer.any();
}

}  // namespace configapi::tool
