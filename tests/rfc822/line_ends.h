// A text with other line ends.

#ifndef CONFIGAPI_TESTS_LINE_ENDS_H_
#define CONFIGAPI_TESTS_LINE_ENDS_H_

#include <string>
#include <string_view>

namespace test {

// Puts `end` for each line feed and the carriage return before it.
inline std::string with_line_ends(std::string_view text, std::string_view end) {
  std::string out;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '\n') {
      out += end;
    } else if (text.substr(i, 2) != "\r\n") {
      out += text[i];
    }
  }
  return out;
}

}  // namespace test

#endif  // CONFIGAPI_TESTS_LINE_ENDS_H_
