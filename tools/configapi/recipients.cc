#include "recipients.h"

#include <algorithm>
#include <array>
#include <nlohmann/json.hpp>
#include <string_view>
#include <utility>

namespace configapi::tool {
namespace {

struct Part {
  const char* name;
  char* Recipient::*text;
};

constexpr std::array kParts = {
    Part{"phrase", &Recipient::phrase}, Part{"local", &Recipient::local},
    Part{"domain", &Recipient::domain}, Part{"comment", &Recipient::comment},
    Part{"written", &Recipient::orig},
};

std::string_view text_or_empty(const char* text) {
  return text != nullptr ? text : "";
}

}  // namespace

Json recipient_rows(const RecipTable* table) {
  Json rows = Json::array();
  const Recipient* one = table != nullptr ? table->first : nullptr;
  for (; one != nullptr; one = one->next) {
    Json row{{"address", text_or_empty(one->canon)}};
    for (const Part& part : kParts) {
      row[part.name] = text_or_empty(one->*part.text);
    }
    rows.push_back(std::move(row));
  }
  return rows;
}

void print_recipient(const Recipient& recipient, const std::string& label,
                     const Output& output) {
  const std::string_view address = text_or_empty(recipient.canon);
  output.line(label + visible(address));
  const std::size_t indent =
      std::min(label.find_first_not_of(' '), label.size()) + 2;
  for (const Part& part : kParts) {
    const std::string_view text = text_or_empty(recipient.*part.text);
    if (text.empty() || (part.text == &Recipient::orig && text == address)) {
      continue;
    }
    std::string line(indent, ' ');
    line += part.name;
    pad_to(&line, indent + 9);
    output.line(line + visible(text));
  }
}

}  // namespace configapi::tool
