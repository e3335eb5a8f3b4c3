#include <configapi/host.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "support/temp_folder.h"

// This program's own name takes the place of the stand-in's.
char appName[] = "qxmsconf_test";

namespace {

using namespace std::string_literals;

const std::string kLong(3000, 'l');

const std::string kFile =
    "; a comment\n"
    "[Debug]\n"
    "Long=" +
    kLong +
    "=Forged\n"
    "Semicolon=\"a ; b\" ; c\n"
    "  Indented=i\n"
    "#Number=n\n"
    "LogFileIO = TRUE\n"
    "Name=  \"two words\"  \n"
    "Single='x'\n"
    "Half=\"x\n"
    "Empty=\n"
    "\n"
    "[Other]\n"
    "LogFileIO=no\n"
    "[debug]\n"
    "Late=1\n"
    "LogFileIO=second\n";

class IniFile : public testing::Test {
 protected:
  IniFile() : file_(folder_.write("test.ini", kFile)) {}

  // The bytes stored and the count, as (text, returned).
  std::pair<std::string, unsigned long> read(const char* section,
                                             const char* key,
                                             const char* fallback,
                                             unsigned long size) const {
    std::vector<char> buffer(size, '#');
    const unsigned long stored = GetPrivateProfileString(
        section, key, fallback, buffer.data(), size, file_.c_str());
    return {std::string(buffer.data(), size), stored};
  }

  std::string text(const char* section, const char* key,
                   const char* fallback) const {
    const auto [bytes, stored] = read(section, key, fallback, 4096);
    EXPECT_EQ(bytes[stored], '\0');
    return bytes.substr(0, stored);
  }

  test::TempFolder folder_;
  std::string file_;
};

TEST_F(IniFile, DeliversValues) {
  const struct {
    const char* section;
    const char* key;
    const char* fallback;
    const std::string expected;
  } rows[] = {
      {"Debug", "Long", "", kLong + "=Forged"},
      {"Debug", "Semicolon", "", "\"a ; b\" ; c"},
      {"Debug", "Indented", "", "i"},
      {"Debug", "#number", "", "n"},
      {"Debug", "LogFileIO", "FALSE", "TRUE"},
      {"DEBUG", "logfileio", "FALSE", "TRUE"},
      {"Other", "LogFileIO", "FALSE", "no"},
      {"Debug", "Name", "", "two words"},
      {"Debug", "Single", "", "x"},
      {"Debug", "Half", "", "\"x"},
      {"Debug", "Empty", "default", ""},
      {"Debug", "Late", "", "1"},
      {"Debug", "Missing", "default", "default"},
      {"Missing", "LogFileIO", "default", "default"},
      {"Debug", "Missing", nullptr, ""},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(text(row.section, row.key, row.fallback), row.expected)
        << row.section << "/" << row.key;
  }
}

TEST_F(IniFile, CutsToTheBuffer) {
  EXPECT_EQ(read("Debug", "Name", "", 4), std::pair("two\0"s, 3UL));
  EXPECT_EQ(read("Debug", "Name", "", 1), std::pair("\0"s, 0UL));
  EXPECT_EQ(read("Debug", "Name", "", 0), std::pair(""s, 0UL));
  EXPECT_EQ(read("No", "Name", "default", 4), std::pair("def\0"s, 3UL));
}

TEST_F(IniFile, ListsSectionsAndKeys) {
  const auto [sections, length] = read(nullptr, nullptr, "", 64);
  EXPECT_EQ(sections.substr(0, length + 1), "Debug\0Other\0\0"s);
  const auto [keys, keys_length] = read("other", nullptr, "", 64);
  EXPECT_EQ(keys.substr(0, keys_length + 1), "LogFileIO\0\0"s);
  EXPECT_EQ(read(nullptr, nullptr, "", 8), std::pair("Debug\0\0\0"s, 6UL));
  EXPECT_EQ(read("Missing", nullptr, "", 4), std::pair("\0\0##"s, 0UL));
  EXPECT_EQ(read(nullptr, nullptr, "", 1), std::pair("\0"s, 0UL));
}

TEST_F(IniFile, FindsABareNameInTheNamedFolder) {
  char buffer[16];
  setenv("QXMSCONF_DIR", folder_.path("").c_str(), 1);
  EXPECT_EQ(GetPrivateProfileString("Debug", "Late", "", buffer, sizeof buffer,
                                    "test.ini"),
            1UL);
  unsetenv("QXMSCONF_DIR");
  EXPECT_EQ(GetPrivateProfileString("Debug", "Late", "d", buffer, sizeof buffer,
                                    "no-such-file.ini"),
            1UL);
  EXPECT_STREQ(buffer, "d");
  EXPECT_EQ(GetPrivateProfileString("Debug", "Late", "d", buffer, sizeof buffer,
                                    nullptr),
            1UL);
}

TEST(AppName, AnExecutablesOwnNameWins) {
  EXPECT_STREQ(appName, "qxmsconf_test");
}

}  // namespace
