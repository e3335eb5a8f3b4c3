#include <configapi/host.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <string>
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
  // The bytes stored, up to the count that is returned and a NUL behind.
  static std::string read(const char* section, const char* key,
                          const char* fallback, const char* file,
                          unsigned long size = 4096) {
    std::vector<char> buffer(size + 1, '#');
    const unsigned long stored = GetPrivateProfileString(
        section, key, fallback, buffer.data(), size, file);
    EXPECT_EQ(buffer[size], '#') << "written past the buffer";
    EXPECT_EQ(buffer[stored], size > 0 ? '\0' : '#');
    if (key == nullptr && size > 1) {
      EXPECT_EQ(buffer[std::max(stored, 1UL)], '\0') << "the end of a list";
    }
    return {buffer.data(), stored};
  }

  test::TempFolder folder_;
  const std::string file_ = folder_.write("test.ini", kFile);
};

TEST_F(IniFile, DeliversValuesAndLists) {
  const struct {
    const char* section;
    const char* key;
    const char* fallback;
    std::string expected;
    unsigned long size = 4096;
  } rows[] = {
      {"Debug", "Long", "", kLong + "=Forged"},
      {"Debug", "Semicolon", "", "\"a ; b\" ; c"},
      {"Debug", "Indented", "", "i"},
      {"Debug", "#number", "", "n"},
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
      {"Debug", "Name", "", "two", 4},
      {"Debug", "Name", "", "", 1},
      {"Debug", "Name", "", "", 0},
      {"No", "Name", "default", "def", 4},
      // Lists: behind each name a NUL, and one more.
      {nullptr, nullptr, "", "Debug\0Other\0"s},
      {"other", nullptr, "", "LogFileIO\0"s},
      {nullptr, nullptr, "", "Debug\0"s, 8},
      {"Missing", nullptr, "", ""},
      {nullptr, nullptr, "", "", 1},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(read(row.section, row.key, row.fallback, file_.c_str(), row.size),
              row.expected)
        << row.expected;
  }
}

TEST_F(IniFile, FindsABareNameInTheNamedFolder) {
  setenv("QXMSCONF_DIR", folder_.path("").c_str(), 1);
  EXPECT_EQ(read("Debug", "Late", "", "test.ini"), "1");
  unsetenv("QXMSCONF_DIR");
  EXPECT_EQ(read("Debug", "Late", "d", "no-such-file.ini"), "d");
  EXPECT_EQ(read("Debug", "Late", "d", nullptr), "d");
}

TEST(AppName, AnExecutablesOwnNameWins) {
  EXPECT_STREQ(appName, "qxmsconf_test");
}

}  // namespace
