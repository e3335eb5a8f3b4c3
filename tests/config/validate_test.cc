#include <configapi/config.h>
#include <gtest/gtest.h>

#include <climits>
#include <clocale>
#include <set>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "support/client_text.h"
#include "support/latin1.h"
#include "support/log_capture.h"
#include "support/temp_folder.h"

namespace {

using test::Latin1;
using test::Text;
using namespace std::string_view_literals;

using Texts = std::vector<std::string_view>;

// "verdict value", as the call leaves the value.
std::string judged(unsigned long type, std::string_view value) {
  const Text text(value);
  const int verdict = valid8_type(type, text);
  return std::to_string(verdict) + " " + std::string(text, value.size());
}

std::string expected(int verdict, std::string_view value) {
  return std::to_string(verdict) + " " + std::string(value);
}

const Texts kPaths = {R"(\\s\share)", R"(  \\s\a b\9)", R"(\\\a)"};
const Texts kNoPaths = {"",           R"(\\)",     R"(\\s)",     R"(\\s\d\)",
                        R"(\\s\d )",  R"(\s\d)",   R"(C:\d)",    "/d",
                        "\t\\\\s\\d", R"(x\\s\d)", "\\\\s\\\xE4"};
const Texts kLabels = {"a", "  mail.example-1.com", "a..b", "z-"};
const Texts kNoLabels = {"",    " ",   "1a",  "-a",    ".a",  "a.",
                         "a b", "a_b", "\ta", "a\xE4", "\xE4"};
const Texts kAnything = {"", "x", "\xFF\n"};

const struct {
  unsigned long type;
  Texts accepted;
  Texts refused;
} kTypes[] = {
    {TYPE_BOOLEAN_TF, {"TRUE", "false", "tRuE"}, {"", "YES", "T", "TRUE "}},
    {TYPE_BOOLEAN_YN, {"yes", "No", "NO"}, {"", "Y", "1", " YES", "YESS"}},
    {TYPE_BOOLEAN_01, {"0", "1"}, {"", "2", "00", "01", "YES"}},
    {TYPE_DATE,
     {"01/31/2000", "99/99/9999"},
     {"", "1/31/2000", "01-31-2000", "01/31/20000", "01/31/200", "0a/31/2000",
      "01/31/2000 ", "01/31-2000"}},
    {TYPE_DIRECTORY, kPaths, kNoPaths},
    {TYPE_FILENAME, kPaths, kNoPaths},
    {TYPE_FILENAME_N, kPaths, kNoPaths},
    {TYPE_HOSTNAME, kLabels, kNoLabels},
    {TYPE_DOMAINNAME, kLabels, kNoLabels},
    {TYPE_HOSTDOMAIN, kLabels, kNoLabels},
    {TYPE_IP_ADDRESS,
     {"192.168.0.255", "0.0.0.0", "001.02.3.004"},
     {"", "...", "192.168.0.256", "1.2.3", "1.2.3.4.5", "1..2.3", ".1.2.3",
      "1.2.3.", "0001.2.3.4", "1.2.3.a", "1.2.3.+4", "1.2.3. 4"}},
    {TYPE_NUMBER,
     {"", "0", "007", "2147483648", "99999999999999999999"},
     {"-1", "+1", "1.5", " 1", "1 ", "\xB2"}},
    {TYPE_NUMBER_NZ,
     {"", "1", "  7", "\t\n007", "4294967296", "99999999999999999999"},
     {"0", "000", " ", " 0", "7 ", "-7", "+7", "00000000000000000000000"}},
    {TYPE_REAL,
     {"3.5", ".2", "2.", "0.01", "12345678901234567890", "00.10"},
     {"", "0", "0.0", ".", "0.", "00"}},
    {TYPE_RFC822_ADDRESS,
     {"postmaster", "a@b", "Joe <a@b>, x@y", "John Smith, a@b", "G: a@b;"},
     {"", "  ", "John Smith", "say \"hi", "a@", ","}},
    {TYPE_STRING, kAnything, {}},
    {TYPE_STRING_N, kAnything, {}},
    {TYPE_RRQ, kAnything, {}},
    {TYPE_TIME,
     {"12:30", "+5:00", "+23:59:59", "0:0", "012:030:007", "+:00", "+05:30"},
     {"", ":", "12", "24:00", "12:60", "23:59:60", "1:2:3:4", "12:", ":30",
      "12::30", "12:30:", "0012:30", "12:0030", "+012:30", "-1:00", "12:+3",
      "1+:00", "12:30 ", " 1:00"}},
    {TYPE_LOCALCHARSET, {"", "us-ascii\x7F"}, {"\x80", "a\xFF"}},
    {TYPE_TIMEZONE,
     {"", "UT", "PDT", "+0100", "-0530", "0200", "2359", "Z", "z", "?!", " EST",
      "\xE4x", "\xFF"},
     {"J", "j", "gmt", "UTC", "+2400", "+0060", "+01", "-", "+01000", "+ 100",
      "200", "02000", "2400", "0160", "02a0"}},
    {TYPE_VIMCHARSET,
     {"CP1252", "cp850", "CP437", "lmbcs", "iString", "UNICODE", "CP932"},
     {"", "CP1251", "CP1252 ", "UTF-8"}},
    // A count with a byte of 0 ends the text, however much is behind it.
    {TYPE_OCTET, {}, {"", "\1", "\1\1\1", "\1\1\1\1", "\3\0\0\0abc"sv}},
};

TEST(Types, AcceptAndRefuse) {
  test::LogCapture log;
  unsigned seen = 0;
  for (const auto& row : kTypes) {
    seen |= 1U << row.type;
    for (const auto value : row.accepted) {
      EXPECT_EQ(judged(row.type, value), expected(0, value))
          << ul2str(row.type);
    }
    for (const auto value : row.refused) {
      EXPECT_EQ(judged(row.type, value), expected(-1, value))
          << ul2str(row.type);
    }
    const bool null = row.type == TYPE_NUMBER_NZ || row.type == TYPE_RRQ ||
                      row.type == TYPE_STRING_N;
    EXPECT_EQ(valid8_type(row.type, nullptr), null ? 0 : -1) << row.type;
  }
  EXPECT_EQ(seen, 0x1FFFFFEU - (1U << TYPE_STRING_LIST)) << "a type is missing";
  EXPECT_EQ(judged(TYPE_STRING_LIST, "a,b"), "1 a,b");
  EXPECT_EQ(valid8_type(TYPE_STRING_LIST, nullptr), 1);
  for (const unsigned long none : {0UL, 25UL, ULONG_MAX}) {
    EXPECT_EQ(judged(none, "YES"), "-1 YES") << none;
    EXPECT_EQ(valid8_type(none, nullptr), -1) << none;
  }
  EXPECT_EQ(log.take(), test::LogLines{});
}

// The smallest count without a byte of 0.
TEST(Types, CountBytesThatTheTextHas) {
  constexpr std::size_t kCount = 0x01010101;
  std::string value(4 + kCount, 'x');
  value.replace(0, 4, "\1\1\1\1");
  EXPECT_EQ(valid8_type(TYPE_OCTET, Text(value)), 0);
  value.pop_back();
  EXPECT_EQ(valid8_type(TYPE_OCTET, Text(value)), -1);
}

TEST(Types, ThatChangeTheValue) {
  const std::string tiny = "0." + std::string(400, '0') + "1";
  const std::string huge(400, '9');
  const struct {
    unsigned long type;
    std::string_view value;
    int verdict;
    std::string_view left;
  } rows[] = {
      {TYPE_REAL, "3,5", 0, "3.5"},
      {TYPE_REAL, "-2", 0, ".2"},
      {TYPE_REAL, "1e5", 0, "1.5"},
      {TYPE_REAL, "7\xFF", 0, "7."},
      {TYPE_REAL, "-1.5,7", -1, ".1.5,7"},
      {TYPE_REAL, "x", -1, "."},
      {TYPE_REAL, "nan", -1, "..n"},
      {TYPE_REAL, tiny, -1, tiny},
      {TYPE_REAL, huge, 0, huge},
      {TYPE_RFC822_ADDRESS, R"("a\"b" <a@b>)", 0, R"("a  b" <a@b>)"},
      {TYPE_RFC822_ADDRESS, R"(a\"@)", -1, "a  @"},
      {TYPE_RFC822_ADDRESS, R"("a\"b)", -1, R"("a\"b)"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(judged(row.type, row.value), expected(row.verdict, row.left));
  }
}

// A byte counts as a signed character: 0xFF, a letter of Latin-1, is EOF.
TEST_F(Latin1, LettersFollowTheLocaleAndThePointDoesNot) {
  ASSERT_STREQ(std::localeconv()->decimal_point, ",");
  const struct {
    unsigned long type;
    std::string_view value;
    int verdict;
  } rows[] = {
      {TYPE_HOSTNAME, "a\xE4", 0},
      {TYPE_HOSTNAME, "\xE4", 0},
      {TYPE_HOSTNAME, "a\xFF", -1},
      {TYPE_HOSTNAME, "a\xB2", -1},
      {TYPE_DIRECTORY, "\\\\s\\\xE4", 0},
      {TYPE_DIRECTORY, "\\\\s\\\xFF", -1},
      {TYPE_TIMEZONE, "\xE4", 0},
      {TYPE_TIMEZONE, "\xE4x", -1},
      {TYPE_TIMEZONE, "\xFFx", 0},
      {TYPE_NUMBER, "\xB2", -1},
      {TYPE_REAL, "0.5", 0},
      {TYPE_REAL, ".2", 0},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(judged(row.type, row.value), expected(row.verdict, row.value));
  }
}

int valid(const char* section, const char* key, const char* value) {
  return valid8(Text(section), Text(key), Text(value));
}

TEST(Addresses, AreJudgedByTheirTypeInTheTable) {
  EXPECT_EQ(valid("gateway", "LOGDIRECTORY", "yes"), 0);
  EXPECT_EQ(valid("Gateway", "LogDirectory", "/var/log"), -1);
  EXPECT_EQ(valid("Tuning", "DNStimeout", "7"), 0);
  EXPECT_EQ(valid("Schedules", "AutoDialUp", "no"), 0);
  EXPECT_EQ(valid("Gateway", "DNStimeout", "7"), 3);
  EXPECT_EQ(valid("Nowhere", "LogDirectory", "YES"), 3);
  EXPECT_EQ(valid("", "", ""), 3);
  EXPECT_EQ(valid8(Text("Nowhere"), Text("Key"), nullptr), 3);
  EXPECT_EQ(valid8(Text("Gateway"), Text("LogDirectory"), nullptr), -1);
}

// The rows of the document's table that begin with an address.
std::set<std::string> documented() {
  std::istringstream text(test::read_file(CONFIGAPI_SETTINGS_DOC));
  std::set<std::string> addresses;
  for (std::string line; std::getline(text, line);) {
    if (line.starts_with("| `") && line.find('/') < line.find('`', 3)) {
      addresses.insert(line.substr(3, line.find('`', 3) - 3));
    }
  }
  return addresses;
}

TEST(Addresses, AcceptTheirDefaultsOrAreDocumented) {
  std::set<std::string> refusing;
  for (const cfgSection* section = cfgTable; *section->name != '\0';
       ++section) {
    for (const cfgKey* key = section->keys; *key->key != '\0'; ++key) {
      if (valid(section->name, key->key, key->defaultValue) != 0) {
        refusing.insert(std::string(section->name) + "/" + key->key);
      }
    }
  }
  EXPECT_EQ(refusing, (std::set<std::string>{"Options/SendOldLogfile",
                                             "Schedules/AutoDialUp"}));
  EXPECT_EQ(refusing, documented());
}

}  // namespace
