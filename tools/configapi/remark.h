// What --explain has to say: what was left out of a text, where and why.

#ifndef CONFIGAPI_TOOLS_REMARK_H_
#define CONFIGAPI_TOOLS_REMARK_H_

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "output.h"

namespace configapi::tool {

struct Remark {
  std::string text;                     // a sentence; escaped when printed
  std::optional<std::size_t> offset{};  // bytes from the text's beginning
  std::string token{};                  // what was in the way there
};

using Remarks = std::vector<Remark>;

// What is made to be refused could have a remark per byte.
constexpr std::size_t kMostRemarks = 50;

// Members text, offset and token, the last two where there are such.
Json remark_row(const Remark& remark);

// The text with its offset, escaped.
std::string remark_line(const Remark& remark);

// Prints a line for each, after so many blanks and "! ".
void print_remarks(const Remarks& remarks, std::size_t indent,
                   const Output& output);
Json remark_rows(const Remarks& remarks);

// In quotes and cut to a length that a line can bear.
std::string in_quotes(std::string_view text);

}  // namespace configapi::tool

#endif  // CONFIGAPI_TOOLS_REMARK_H_
