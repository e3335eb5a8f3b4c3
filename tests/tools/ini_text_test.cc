// INI text, as it is written and read.

#include <configapi/host.h>
#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "ini_text.h"
#include "support/temp_folder.h"

namespace configapi::tool {
namespace {

using namespace std::string_literals;

// What the text says, a line for each of its lines: "3 Section/Key=value".
std::string told(std::string_view text) {
  // An exact-size heap block lets a sanitizer see a byte read too far.
  const std::vector<char> block(text.begin(), text.end());
  IniReader reader({block.data(), block.size()});
  std::string all;
  for (IniLine line; reader.next(&line);) {
    all += std::to_string(line.number) + " ";
    if (!line.fault.empty()) {
      all += "! " + line.fault;
    } else {
      all += line.section + (line.key.empty() ? "" : "/" + line.key);
      all += line.masked ? " masked" : line.further ? "+=" : "=";
      all += line.value;
    }
    all += "\n";
  }
  return all;
}

TEST(IniText, WritesValuesAsTheyAreRead) {
  const test::TempFolder folder;
  const struct {
    std::string value;
    std::string written;
  } rows[] = {
      {"", ""},
      {"5", "5"},
      {R"(\\SERVER\SHARE\new)", R"(\\SERVER\SHARE\new)"},
      {"a = b ; c # d", "a = b ; c # d"},
      {"; no comment", "; no comment"},
      {"[x]", "[x]"},
      {"Gr\xC3\xBC\xC3\x9F \xE2\x82\xAC", "Gr\xC3\xBC\xC3\x9F \xE2\x82\xAC"},
      {"say \"x\"", "say \"x\""},
      {" x", "\" x\""},
      {"x ", "\"x \""},
      {" ", "\" \""},
      {"\"x\"", "\"\"x\"\""},
      {"\"", "\"\"\""},
      {"'x'", "\"'x'\""},
      {"********", "\"********\""},
      {"$\"x\"", "\"$\"x\"\""},
      {"$x", "$x"},
      {"one\r\ntwo\t\"\\", "$\"one\\r\\ntwo\\t\\\"\\\\\""},
      {"\0a\x1B"s, "$\"\\x00a\\x1B\""},
      {"caf\xE9 \xC3", "$\"caf\\xE9 \\xC3\""},
      {"\xC2\x9B", "$\"\\xC2\\x9B\""},  // a control character of two bytes
  };
  for (const auto& row : rows) {
    EXPECT_EQ(ini_value(row.value), row.written);
    // Programs of Windows habits read all but the escapes alike.
    std::string read(512, 'x');
    const auto file = folder.write("x.ini", "[s]\nk=" + row.written + "\n");
    read.resize(
        GetPrivateProfileString("s", "k", "?", read.data(), 512, file.c_str()));
    if (!row.written.starts_with("$\"")) {
      EXPECT_EQ(read, row.value);
    }
  }
  for (int byte = 0; byte < 256; ++byte) {
    const std::string c(1, static_cast<char>(byte));
    const std::string filled[] = {c, "a" + c, c + "a", c + c, "\xC3" + c};
    for (const auto& value : filled) {
      EXPECT_EQ(told("[s]\n" + ini_setting("k", value)),
                "1 s=\n2 s/k=" + value + "\n");
    }
  }
}

TEST(IniText, ReadsWhatPeopleWrite) {
  EXPECT_EQ(told("\xEF\xBB\xBF# old\r\n [ Local Mail ] ; x\r\n\r\n"
                 "\t; TimeRetry = 4\r\n"
                 "TimeRetry = 5 \r\nTimeRetry += 6\r\n"
                 "A='\"x\" '\nB=\"c:\\new\"\nC=********\nD=$\"\\x4a\""),
            "2 Local Mail=\n5 Local Mail/TimeRetry=5\n"
            "6 Local Mail/TimeRetry+=6\n7 Local Mail/A=\"x\" \n"
            "8 Local Mail/B=c:\\new\n9 Local Mail/C masked\n"
            "10 Local Mail/D=J\n");
}

TEST(IniText, SaysWhatIsWrong) {
  const std::string no_line = "neither [SECTION] nor KEY=VALUE nor a comment";
  const std::string no_end =
      "a value that begins with a quote does not end with it";
  const std::string no_escape =
      R"(a backslash that begins none of \n \r \t \\ \" \xNN)";
  const std::pair<std::string, std::string> rows[] = {
      {"junk", no_line},
      {"=5", no_line},
      {" += 5", no_line},
      {"k:5", no_line},
      {"k=\"x", no_end},
      {"k=\"", no_end},
      {"k='x' ; why", no_end},
      {"k=$\"x", "the closing quote is missing"},
      {"k=$\"\\\"", "the closing quote is missing"},
      {"k=$\"x\"y\"", "text behind the closing quote"},
      {"k=$\"\\q\"", no_escape},
      {"k=$\"\\x4\"", no_escape},
      {"k=$\"\\xG0\"", no_escape},
      {"k=$\"\\", no_escape},
      {"k+=********", "a mask stands for all values of its key, and alone"},
      {"k=a\rb", "a control byte 0x0D"},
      {"k=a\0b"s, "a NUL byte; settings are UTF-8, never UTF-16"},
  };
  for (const auto& [text, fault] : rows) {
    EXPECT_EQ(told("[s]\n" + text), "1 s=\n2 ! " + fault + "\n");
  }
  EXPECT_EQ(told("k=5\n"), "1 ! a key that stands in no section\n");
  for (const auto* text : {"[", "[]", "[ ]", "[x", "[x]y", "[a\x01]"}) {
    // The keys of such a section are not told one by one.
    EXPECT_EQ(told("[s]\n" + std::string(text) + "\nk=5\n[t]\nk=5"),
              "1 s=\n2 ! no [SECTION] with a name\n4 t=\n5 t/k=5\n");
  }
}

}  // namespace
}  // namespace configapi::tool
