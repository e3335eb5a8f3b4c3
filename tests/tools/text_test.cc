// The tool's parts that work on texts alone.

#include <gtest/gtest.h>

#include "nearest.h"
#include "output.h"
#include "utf8.h"

namespace configapi::tool {
namespace {

TEST(Visible, KeepsAValueOnItsLine) {
  struct Row {
    const char* what;
    std::string_view bytes;
    const char* shown;
  };
  const std::vector<Row> rows = {
      {"plain", "base64,x-uue", "base64,x-uue"},
      {"line ends and tabs", "one\r\n\ttwo", "one\\r\\n\\ttwo"},
      {"control bytes", {"a\0b\x1b[m\x7f", 7}, "a\\x00b\\x1B[m\\x7F"},
      {"a network path stays as it is", R"(\\server\share)",
       R"(\\server\share)"},
      {"UTF-8", "Gr\xC3\xBC\xC3\x9F \xE2\x82\xAC \xF0\x9F\x93\xA7",
       "Gr\xC3\xBC\xC3\x9F \xE2\x82\xAC \xF0\x9F\x93\xA7"},
      {"Latin-1", "caf\xE9 x", "caf\\xE9 x"},
      {"a C1 control",
       "\xC2\x9B"
       "31m",
       "\\xC2\\x9B31m"},
      {"overlong", "\xC0\xAF", "\\xC0\\xAF"},
      {"a surrogate", "\xED\xA0\x80", "\\xED\\xA0\\x80"},
      {"beyond Unicode", "\xF4\x90\x80\x80", "\\xF4\\x90\\x80\\x80"},
      {"cut short", "\xE2\x82", "\\xE2\\x82"},
  };
  for (const Row& row : rows) {
    // An exact-size heap block lets a sanitizer see a byte read too far.
    const std::vector<char> block(row.bytes.begin(), row.bytes.end());
    EXPECT_EQ(visible({block.data(), block.size()}), row.shown) << row.what;
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
  EXPECT_EQ(typing_distance("", ""), 0U);
  EXPECT_EQ(typing_distance("", "abc"), 3U);
  EXPECT_EQ(typing_distance("DNStimeout", "dnsTIMEOUT"), 0U);
  EXPECT_EQ(typing_distance("DNStimout", "DNStimeout"), 1U) << "missing";
  EXPECT_EQ(typing_distance("DNStimmeout", "DNStimeout"), 1U) << "too many";
  EXPECT_EQ(typing_distance("DNStineout", "DNStimeout"), 1U) << "wrong";
  EXPECT_EQ(typing_distance("Gatewya", "Gateway"), 1U) << "exchanged";
  EXPECT_EQ(typing_distance("kitten", "sitting"), 3U);
}

TEST(NearestName, IsNoWildGuess) {
  EXPECT_EQ(nearest_name("lst", {"get", "list", "describe"}), "list");
  EXPECT_EQ(nearest_name("write", {"get", "list", "describe"}), "");
}

}  // namespace
}  // namespace configapi::tool
