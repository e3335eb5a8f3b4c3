#include <configapi/rfcdate.h>
#include <gtest/gtest.h>

#include <climits>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <memory>
#include <string>
#include <vector>

#include "date/date_text.h"
#include "support/log_capture.h"

namespace {

using test::parsed;

struct Case {
  std::string text;
  const char* expected;
};

// clang-format off
const std::vector<Case> kMailDates = {
    {"Mon, 16 Nov 1998 15:48:37 -0500", "1998-11-16 15:48:37 -300 f3"},
    {"16 Nov 98 15:48 EST", "1998-11-16 15:48:0 -300 f1"},
    {"16 Nov 05 15:48 GMT", "2005-11-16 15:48:0 0 f1"},
    {"29 February 2000", "2000-2-29 0:0:0 0 f0"},
    {"Mon,16Nov1998 1:2:3-0500", "1998-11-16 1:2:3 -300 f3"},
    {"Fishday.; (16 Nov 1998", "1998-11-16 0:0:0 0 f0"},
    {"16 Nov 1998 15 :48 :37 Z", "1998-11-16 15:48:37 0 f3"},
    {"16 Nov 1998 15::", "1998-11-16 15:0:0 0 f2"},
    {"16 Nov 1998 :48", "1998-11-16 0:48:0 0 f0"},
    {"16 Nov 1998 12:00 XYZ", "1998-11-16 12:0:0 0 f0"},
    {"16 Nov 1998 1:00 +0100 (X)", "1998-11-16 1:0:0 60 f1"},
    {"16 Nov" + std::string(300, 'x') + " 1999", "1999-11-16 0:0:0 0 f0"},
    {"000000000016 Nov 00000001998", "1998-11-16 0:0:0 0 f0"},
    {"16 Nov 37", "2037-11-16 0:0:0 0 f0"},
    {"16 Nov 80", "1980-11-16 0:0:0 0 f0"},
    {"1 Jan 1980", "1980-1-1 0:0:0 0 f0"},
    {"31 Dec 2037 23:59:59", "2037-12-31 23:59:59 0 f2"},
};
// clang-format on

const std::vector<std::string> kRefused = {
    // Parts that are missing or misspelt.
    "", " \t\r\n", "Mon, ", "16", "16 Nov", "16 1999", "16 NOV 1999",
    "16 nov 1999", "16 Ja 1999", "16 Ja1999", "16 Janu", "Mon,16-Nov-1999",
    "Mon Nov 16 15:48:37 1998", "\xE9, 16 Nov 1998",
    // Parts out of their ranges.
    "16 Nov 38", "16 Nov 79", "16 Nov 100", "16 Nov 1979", "16 Nov 2038",
    "29 Feb 1999", "31 Apr 1999", "0 Jan 1999", "32 Jan 1999",
    "16 Nov 1999 24:00", "16 Nov 1999 23:60", "16 Nov 1999 23:59:60",
    // The 15th and 16th hour, day and year 1998, and 2^32 or 2^64 more.
    "4294967312 Nov 1998", "16 Nov 4294969294", "16 Nov 18446744073709553614",
    "16 Nov 1998 4294967311:00"};

TEST(Rfc2Utc, ReadsWhatMailWrites) {
  for (const auto& row : kMailDates) {
    // A date is a header's value: folded, and with the line's end behind it.
    std::string folded;
    for (const char c : row.text) {
      folded += c == ' ' ? std::string("\r\n\t ") : std::string(1, c);
    }
    for (const auto& text : {row.text, " \t" + row.text + "\r\n", folded}) {
      EXPECT_EQ(parsed(rfc2UTC, text), row.expected) << row.text;
    }
  }
  for (const auto& text : kRefused) {
    EXPECT_EQ(parsed(rfc2UTC, text), "refused") << text;
  }
}

TEST(Rfc2Utc, FindsExactlyTheMonthsOfTheTable) {
  std::string name = "AAA";
  for (name[0] = 'A'; name[0] <= 'z'; ++name[0]) {
    for (name[1] = 'A'; name[1] <= 'z'; ++name[1]) {
      for (name[2] = 'A'; name[2] <= 'z'; ++name[2]) {
        UTC_DATE* date = nullptr;
        rfc2UTC(("1 " + name + " 1999").c_str(), &date);
        ASSERT_EQ(date != nullptr ? date->month - 1 : -1,
                  cmd_srch(name.c_str(), tbl_month))
            << name;
        std::free(date);
      }
    }
  }
}

void set_zone(const char* zone) {
  setenv("TZ", zone, 1);
  tzset();
}

TEST(Ctime2Utc, ReadsWhatCtimeWrites) {
  // clang-format off
  const std::vector<Case> rows = {
      {"Mon Nov 16 15:48:37 1998\n", "1998-11-16 15:48:37 -300 f3"},
      {"Mon Nov 16 15:48:37 PST 1998", "1998-11-16 15:48:37 -480 f3"},
      {"Mon Nov 16 15:48:37 GMT 1998", "1998-11-16 15:48:37 -300 f3"},
      {"x Nov 1 2:3:4 " + std::string(300, 'E') + " 1998",
       "1998-11-1 2:3:4 -300 f3"},
      {"Mon Nov 16 15:48 98", "1998-11-16 15:48:0 -300 f1"},
      // No range is looked at but the year's.
      {"Mon Nov 31 25:61:99 1998", "1998-11-31 25:61:99 -300 f3"},
      {"x Nov 4294967297 2147483647:2147483648 1998",
       "1998-11-2147483647 2147483647:2147483647:0 -300 f1"},
      {"Mon Nov 16 15:48:37 4294969294", "refused"},
      {"Mon Nov 16 15:48:37 +0100 1998", "refused"},
      {"Mon Nov 16 1998", "refused"},
      {"Nov 16 15:48:37 1998", "refused"},
      {"Mon\tNov 16 15:48:37 1998", "refused"},
      {"", "refused"},
  };
  // clang-format on
  set_zone("EST5EDT");
  for (const auto& row : rows) {
    EXPECT_EQ(parsed(ctime2UTC, row.text), row.expected) << row.text;
  }
}

TEST(Ctime2Utc, TakesTheZoneTheProcessSet) {
  const char* const date = "Mon Nov 16 15:48:37 1998";
  set_zone("IST-5:30");
  EXPECT_EQ(parsed(ctime2UTC, date), "1998-11-16 15:48:37 330 f3");
  set_zone("LMT0:00:59");
  EXPECT_EQ(parsed(ctime2UTC, date), "1998-11-16 15:48:37 0 f3");
  // Not by its own doing: the environment alone changes nothing.
  setenv("TZ", "EST5EDT", 1);
  EXPECT_EQ(parsed(ctime2UTC, date), "1998-11-16 15:48:37 0 f3");
  set_zone("UTC");
}

// The result and the text, written over an exact-size buffer.
std::string formatted(UTC_DATE* date) {
  constexpr std::size_t kSize = 64;
  const std::unique_ptr<char[]> out(new char[kSize]);
  std::memset(out.get(), '#', kSize);
  const int result = UTC2rfc(date, out.get());
  return std::to_string(result) + " " + out.get();
}

TEST(Utc2Rfc, WritesRecords) {
  // clang-format off
  const struct {
    UTC_DATE date;
    const char* expected;
  } rows[] = {
      {{1998, 11, 16, 15, 48, 37, 0, -300, 3}, "1 Mon, 16 Nov 1998 15:48:37 -0500"},
      {{1998, 11, 1, 9, 5, 0, 0, 99, 0}, "1 Sun, 1 Nov 1998 09:05 +0000"},
      {{2037, 12, 31, 23, 59, 59, 0, -30, 3}, "1 Thu, 31 Dec 2037 23:59:59 -0030"},
      {{2024, 2, 29, 1, 2, 3, 0, 330, 1}, "1 Thu, 29 Feb 2024 01:02 +0530"},
      {{1998, 0, 16, 0, 0, 0, 0, 0, 0}, "0 "},
      {{38, 13, 16, 0, 0, 0, 0, 0, 0}, "0 "},
      // Far out of range: as numbers, but never past 63 characters.
      {{1998, 11, 0, -1, -10, 100, 0, 6039, 3}, "1 Sat, 0 Nov 1998 -1:-10:100 +10039"},
      {{1998, 11, INT_MAX, INT_MAX, INT_MAX, INT_MAX, 0, -300, 3},
       "1 Sun, 2147483647 Nov 1998 2147483647:2147483647:2147483647 -0500"},
      {{1998, 11, 100, INT_MIN, INT_MIN, INT_MIN, 0, INT_MIN, 3},
       "1 Mon, 100 Nov 1998 -2147483648:-2147483648:-2147483648 -35791394"},
      {{1998, 1, -9999, 0, 0, 0, 0, 0, 0}, "0 "},
  };
  // clang-format on
  test::LogCapture log;
  for (const auto& row : rows) {
    UTC_DATE date = row.date;
    EXPECT_EQ(formatted(&date), row.expected);
    EXPECT_EQ(test::describe(date), test::describe(row.date)) << row.expected;
  }
  EXPECT_EQ(formatted(nullptr), "0 ");
  EXPECT_EQ(log.take(), test::LogLines{});
}

TEST(Utc2Rfc, SettlesTheYear) {
  const struct {
    int year;
    int settled;  // or the same
    const char* expected;
  } rows[] = {
      {98, 1998, "1 Mon, 16 Nov 1998 00:00 +0000"},
      {5, 2005, "1 Wed, 16 Nov 2005 00:00 +0000"},
      {38, 38, "0 "},
      {INT_MIN, INT_MIN, "0 "},
  };
  test::LogCapture log;
  for (const auto& row : rows) {
    UTC_DATE date{row.year, 11, 16, 0, 0, 0, 0, 0, 0};
    EXPECT_EQ(formatted(&date), row.expected);
    EXPECT_EQ(date.year, row.settled);
    const std::string value = "year value " + std::to_string(row.year) + ".  ";
    EXPECT_EQ(log.take(),
              test::LogLines{row.settled != row.year
                                 ? "6 ParseDate: Received " + value +
                                       "Changing it to " +
                                       std::to_string(row.settled) + "."
                                 : "6 ParseDate: Received invalid " + value +
                                       "Use current year instead."});
  }
}

int weekday(int year, int month, int day) {
  const UTC_DATE date{year, month, day, 0, 0, 0, 0, 0, 0};
  return makewkday(&date);
}

TEST(Makewkday, AgreesWithTheCLibrary) {
  // Days since 1970: 1980 to 2037, and a sample of 1753 to 2400 where the C
  // library's time reaches so far.
  const bool wide = sizeof(std::time_t) > 4;
  for (long day = wide ? -79257 : 3652; day < (wide ? 157422 : 24837);
       day += day >= 3652 && day <= 24836 ? 1 : 11) {
    const std::time_t time = std::time_t{86400} * day;
    std::tm fields{};
    gmtime_r(&time, &fields);
    ASSERT_EQ(weekday(fields.tm_year + 1900, fields.tm_mon + 1, fields.tm_mday),
              (fields.tm_wday + 1) % 7)
        << "day " << day;
  }
}

TEST(Makewkday, AnyFieldsAreSafe) {
  for (const int month : {0, INT_MIN, 13}) {
    EXPECT_EQ(weekday(1998, month, 1), -1);
  }
  EXPECT_EQ(weekday(1998, 11, 16 + 7 * 100000), weekday(1998, 11, 16));
  // 400 years are whole weeks.
  EXPECT_EQ(weekday(INT_MAX, 3, INT_MAX), weekday(2047, 3, INT_MAX % 7));
  EXPECT_LT(weekday(INT_MIN, 1, INT_MIN), 0);
}

}  // namespace
