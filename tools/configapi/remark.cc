#include "remark.h"

#include <nlohmann/json.hpp>

namespace configapi::tool {

Json remark_row(const Remark& remark) {
  Json row{{"text", remark.text}};
  if (remark.offset) {
    row["offset"] = *remark.offset;
  }
  if (!remark.token.empty()) {
    row["token"] = remark.token;
  }
  return row;
}

Json remark_rows(const Remarks& remarks) {
  Json rows = Json::array();
  for (const Remark& remark : remarks) {
    rows.push_back(remark_row(remark));
  }
  return rows;
}

std::string remark_line(const Remark& remark) {
  std::string line;
  if (remark.offset) {
    line = "offset " + std::to_string(*remark.offset) + ": ";
  }
  return line + visible(remark.text);
}

void print_remarks(const Remarks& remarks, std::size_t indent,
                   const Output& output) {
  for (const Remark& remark : remarks) {
    output.line(std::string(indent, ' ') + "! " + remark_line(remark));
  }
}

std::string in_quotes(std::string_view text) {
  constexpr std::size_t kLongest = 60;
  const bool cut = text.size() > kLongest;
  return "'" + std::string(text.substr(0, kLongest)) + (cut ? "...'" : "'");
}

}  // namespace configapi::tool
