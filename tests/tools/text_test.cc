// The tool's parts that work on texts alone.

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "nearest.h"
#include "output.h"
#include "utf8.h"

namespace configapi::tool {
namespace {

TEST(Visible, KeepsAValueOnItsLine) {
  const std::pair<std::string_view, std::string_view> rows[] = {
      {"one\r\n\ttwo", "one\\r\\n\\ttwo"},
      {{"a\0b\x1b[m\x7f", 7}, "a\\x00b\\x1B[m\\x7F"},
      {R"(\\server\share)", R"(\\server\share)"},
      {"\xC3\xBC\xC3\x9F \xE2\x82\xAC \xF0\x9F\x93\xA7",
       "\xC3\xBC\xC3\x9F \xE2\x82\xAC \xF0\x9F\x93\xA7"},
      {"caf\xE9 x", "caf\\xE9 x"},                   // Latin-1
      {"\xC2\x9B[31m", "\\xC2\\x9B[31m"},            // a C1 control
      {"\xC0\xAF", "\\xC0\\xAF"},                    // overlong
      {"\xED\xA0\x80", "\\xED\\xA0\\x80"},           // a surrogate
      {"\xF4\x90\x80\x80", "\\xF4\\x90\\x80\\x80"},  // beyond Unicode
      {"\xE2\x82", "\\xE2\\x82"},                    // cut short
  };
  for (const auto& [bytes, shown] : rows) {
    // An exact-size heap block lets a sanitizer see a byte read too far.
    const std::vector<char> block(bytes.begin(), bytes.end());
    EXPECT_EQ(visible({block.data(), block.size()}), shown);
  }
}

TEST(PadTo, CountsCharacters) {
  std::string line = "Gr\xC3\xBC\xC3\x9F";
  pad_to(&line, 8);
  EXPECT_EQ(line, "Gr\xC3\xBC\xC3\x9F    ");
  pad_to(&line, 4);
  EXPECT_EQ(utf8_length(line), 10U) << "two blanks at least";
}

TEST(TypingDistance, CountsSlips) {
  const struct {
    const char* one;
    const char* other;
    std::size_t slips;
  } rows[] = {
      {"", "", 0},
      {"", "abc", 3},
      {"DNStimeout", "dnsTIMEOUT", 0},
      {"DNStimout", "DNStimeout", 1},
      {"DNStimmeout", "DNStimeout", 1},
      {"DNStineout", "DNStimeout", 1},
      {"Gatewya", "Gateway", 1},  // exchanged
      {"kitten", "sitting", 3},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(typing_distance(row.one, row.other), row.slips) << row.one;
  }
  EXPECT_EQ(nearest_name("lst", {"get", "list", "describe"}), "list");
  EXPECT_EQ(nearest_name("write", {"get", "list", "describe"}), "")
      << "no wild guess";
}

}  // namespace
}  // namespace configapi::tool
