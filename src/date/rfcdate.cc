#include <configapi/host.h>
#include <configapi/rfcdate.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string_view>

#include "base/bounded.h"
#include "date/date_cursor.h"
#include "date/read_date.h"
#include "date/zone.h"

constexpr NameEntry tbl_month[13] = {
    {"Jan", 0},  {"Feb", 1},  {"Mar", 2},    {"Apr", 3}, {"May", 4},
    {"Jun", 5},  {"Jul", 6},  {"Aug", 7},    {"Sep", 8}, {"Oct", 9},
    {"Nov", 10}, {"Dec", 11}, {nullptr, -1},
};

constexpr int dmsize[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};

constexpr const char* Day[7] = {"Sat", "Sun", "Mon", "Tue",
                                "Wed", "Thu", "Fri"};

namespace configapi {
namespace {

constexpr int kMonths = 12;
constexpr int kFirstYear = 1980;
constexpr int kLastYear = 2037;
constexpr int kMinutesOfHour = 60;
constexpr int kInformation = 6;          // the level of log entries
constexpr std::size_t kNameLetters = 3;  // of a month or weekday

static_assert(sizeof(int) == 4 && sizeof(UTC_DATE) == 36);

constexpr bool is_leap(int year) {
  return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
}

// REQUIRES: month is 1 to 12.
int days_in(int month, int year) {
  return month == 2 && is_leap(year) ? 29 : dmsize[month - 1];
}

// The year that a record's or a text's year stands for, or itself.
constexpr int full_year(int year) {
  if (year >= 0 && year <= 37) {
    return year + 2000;
  }
  return year >= 80 && year <= 99 ? year + 1900 : year;
}

constexpr bool is_supported(int year) {
  return year >= kFirstYear && year <= kLastYear;
}

// A name of three letters as one number.
constexpr std::uint32_t pack(const char* letters) {
  std::uint32_t packed = 0;
  for (std::size_t i = 0; i < kNameLetters; ++i) {
    packed = packed << 8U | static_cast<unsigned char>(letters[i]);
  }
  return packed;
}

// The months by a perfect hash of their names.
struct MonthSlot {
  std::uint32_t name;
  int month;  // 1 to 12
};

constexpr std::size_t month_slot(std::uint32_t name) {
  constexpr std::uint32_t kMultiplier = 1909190;  // the least that works
  return name * kMultiplier >> 28U;
}

constexpr auto kMonthSlots = [] {
  std::array<MonthSlot, 16> slots{};
  for (int i = 0; i < kMonths; ++i) {
    const std::uint32_t name = pack(tbl_month[i].name);
    slots[month_slot(name)] = {name, tbl_month[i].value + 1};
  }
  return slots;
}();

static_assert(std::count_if(kMonthSlots.begin(), kMonthSlots.end(),
                            [](const MonthSlot& slot) {
                              return slot.month != 0;
                            }) == kMonths);

// Reading. Each function passes one part of a date and the blanks behind it,
// and is false when the part is missing or wrong. They are inlined to keep the
// cursor in registers.

// month = a word whose first three letters are a name of tbl_month
[[gnu::always_inline]] inline bool read_month(DateCursor* cursor,
                                              UTC_DATE* date) {
  const std::string_view word = cursor->letters();
  if (word.size() < kNameLetters) {
    return false;
  }
  const std::uint32_t name = pack(word.data());
  const MonthSlot& slot = kMonthSlots[month_slot(name)];
  if (slot.name != name) {
    return false;
  }
  date->month = slot.month;
  cursor->skip_space();
  return true;
}

[[gnu::always_inline]] inline bool read_day(DateCursor* cursor,
                                            UTC_DATE* date) {
  if (!cursor->at_digit()) {
    return false;
  }
  date->day = cursor->number();
  cursor->skip_space();
  return true;
}

[[gnu::always_inline]] inline bool read_year(DateCursor* cursor,
                                             UTC_DATE* date) {
  if (!cursor->at_digit()) {
    return false;
  }
  date->year = full_year(cursor->number());
  cursor->skip_space();
  return is_supported(date->year);
}

// time = [hour] [":" minute] [":" second]
[[gnu::always_inline]] inline void read_time(DateCursor* cursor,
                                             UTC_DATE* date) {
  if (cursor->at_digit()) {
    date->hour = cursor->number();
    cursor->skip_space();
  }
  if (cursor->take(':')) {
    date->minute = cursor->number();
    cursor->skip_space();
  }
  if (cursor->take(':')) {
    date->second = cursor->number();
    date->flags |= DATE_SECONDS;
    cursor->skip_space();
  }
}

// date-time = [ day-name separators ] day month year [ time ] [ zone ]
bool read_rfc822(DateCursor cursor, UTC_DATE* date) {
  cursor.skip_space();
  if (cursor.at_letter()) {
    cursor.letters();
    cursor.skip_space_and_punctuation();
  }
  if (!read_day(&cursor, date) || !read_month(&cursor, date) ||
      !read_year(&cursor, date) || date->day < 1 ||
      date->day > days_in(date->month, date->year)) {
    return false;
  }
  read_time(&cursor, date);
  // Numbers that were read are never negative.
  if (date->hour > 23 || date->minute > 59 || date->second > 59) {
    return false;
  }
  read_zone(cursor, date);
  return true;
}

// Only reads the C library's offset: to set it is the process's business. The
// reserved name is the one that no host's own symbol can take the place of. A
// thread in localtime() may be storing to it, hence the atomic load.
int machine_zone() {
  return -static_cast<int>(__atomic_load_n(&__timezone, __ATOMIC_RELAXED) / 60);
}

// ctime = word " " month day [ time ] [ zone-name ] year
bool read_ctime(DateCursor cursor, UTC_DATE* date) {
  cursor.skip_space();
  if (!cursor.skip_to(' ')) {
    return false;
  }
  cursor.skip_space();
  if (!read_month(&cursor, date) || !read_day(&cursor, date)) {
    return false;
  }
  read_time(&cursor, date);
  if (cursor.at_letter()) {
    read_zone(cursor, date);
    cursor.letters();
    cursor.skip_space();
  }
  if (!read_year(&cursor, date)) {
    return false;
  }
  // GMT gives way to the machine's zone too: ctime() writes local time.
  if (date->zone == 0) {
    date->zone = machine_zone();
    date->flags |= DATE_ZONE;
  }
  return true;
}

template <bool (*Read)(const char*, UTC_DATE*)>
int read_date(const char* text, UTC_DATE** out) {
  if (text == nullptr) {
    return 0;
  }
  *out = nullptr;
  UTC_DATE date;
  if (!Read(text, &date)) {
    return 0;
  }
  *out = static_cast<UTC_DATE*>(std::malloc(sizeof date));
  if (*out == nullptr) {
    return 0;
  }
  **out = date;
  return 1;
}

// Weekdays.

constexpr auto kDaysBefore = [] {
  std::array<int, kMonths> before{};
  for (std::size_t i = 1; i < before.size(); ++i) {
    before[i] = before[i - 1] + dmsize[i - 1];
  }
  return before;
}();

// Days since a Saturday, whole weeks left out where they can be. Exact from
// 1753 on, the first whole year of the Gregorian calendar in Britain; earlier
// years follow no calendar throughout.
template <typename Int>
int weekday(const UTC_DATE& date) {
  const Int year = date.year;
  Int days = year + (year + 3) / 4 + 4;
  if (year > 1800) {
    days += (year - 1601) / 400 - (year - 1701) / 100;
  }
  if (year > 1752) {
    days += 3;
  }
  if (date.month > 2 && is_leap(date.year)) {
    ++days;
  }
  days += kDaysBefore[static_cast<std::size_t>(date.month) - 1];
  return static_cast<int>((days + date.day) % 7);
}

// -1 for a month that is none.
int weekday_of(const UTC_DATE& date) {
  if (date.month < 1 || date.month > kMonths) {
    return -1;
  }
  const auto is_far = [](int n) { return n < -(1 << 28) || n > 1 << 28; };
  return is_far(date.year) || is_far(date.day) ? weekday<std::int64_t>(date)
                                               : weekday<int>(date);
}

// Writing. The texts are composed where the longest number has room for every
// field, so that nothing needs to look for the end.

constexpr std::size_t kOutSize = 64;
constexpr std::size_t kComposed = 96;
constexpr std::size_t kLongestNumber = 11;  // -2147483648
static_assert(std::string_view("Mon, + Nov 1998 +:+:+ -+00").size() +
                  5 * kLongestNumber <
              kComposed);

constexpr auto kPairs = [] {
  std::array<char, 200> pairs{};
  for (std::size_t i = 0; i < pairs.size(); i += 2) {
    pairs[i] = static_cast<char>('0' + i / 20);
    pairs[i + 1] = static_cast<char>('0' + i / 2 % 10);
  }
  return pairs;
}();

// Each returns the position behind what it wrote.

char* put(char* at, std::string_view text) {
  std::memcpy(at, text.data(), text.size());
  return at + text.size();
}

char* put_number(char* at, int value) {
  return std::to_chars(at, at + kLongestNumber, value).ptr;
}

// At least two characters: a leading zero where the number is one digit.
char* put_two(char* at, int value) {
  if (value < 0 || value > 99) {
    return put_number(at, value);
  }
  return put(at, {&kPairs[static_cast<std::size_t>(value) * 2], 2});
}

char* put_time(char* at, const UTC_DATE& date) {
  at = put_two(at, date.hour);
  *at++ = ':';
  at = put_two(at, date.minute);
  if ((date.flags & DATE_SECONDS) != 0) {
    *at++ = ':';
    at = put_two(at, date.second);
  }
  return at;
}

char* put_zone(char* at, const UTC_DATE& date) {
  if ((date.flags & DATE_ZONE) == 0) {
    return put(at, "+0000");
  }
  *at++ = date.zone >= 0 ? '+' : '-';
  at = put_two(at, std::abs(date.zone / kMinutesOfHour));
  return put_two(at, std::abs(date.zone % kMinutesOfHour));
}

// Writes the text, cut to `out`, and its end.
void write_date(const UTC_DATE& date, int weekday, char* out) {
  std::array<char, kComposed> text;
  char* at = put(text.data(), {Day[weekday], kNameLetters});
  at = put(at, ", ");
  at = date.day >= 0 && date.day <= 9
           ? put(at, {&kPairs[static_cast<std::size_t>(date.day) * 2 + 1], 1})
           : put_two(at, date.day);
  *at++ = ' ';
  at = put(at, {tbl_month[date.month - 1].name, kNameLetters});
  *at++ = ' ';
  at = put_two(at, date.year / 100);
  at = put_two(at, date.year % 100);
  *at++ = ' ';
  at = put_time(at, date);
  *at++ = ' ';
  at = put_zone(at, date);
  copy_cut({out, kOutSize},
           {text.data(), static_cast<std::size_t>(at - text.data())});
}

// Replaces a year of two digits; false when the year is none that a date of
// the library can have.
bool settle_year(UTC_DATE* date) {
  if (is_supported(date->year)) {
    return true;
  }
  const int year = full_year(date->year);
  std::array<char, kComposed> text{};
  if (is_supported(year)) {
    char* at = put(text.data(), "Received year value ");
    at = put_number(at, date->year);
    at = put(at, ".  Changing it to ");
    at = put_number(at, year);
    put(at, ".");
    date->year = year;
  } else {
    char* at = put(text.data(), "Received invalid year value ");
    at = put_number(at, date->year);
    put(at, ".  Use current year instead.");
  }
  LogMessage(kInformation, "ParseDate", text.data());
  return is_supported(year);
}

}  // namespace

bool read_rfc822_date(const char* text, UTC_DATE* date) {
  *date = {};
  return read_rfc822(DateCursor(text), date);
}

bool read_ctime_date(const char* text, UTC_DATE* date) {
  *date = {};
  return read_ctime(DateCursor(text), date);
}

}  // namespace configapi

extern "C" int rfc2UTC(const char* text, UTC_DATE** out) {
  return configapi::read_date<configapi::read_rfc822_date>(text, out);
}

extern "C" int ctime2UTC(const char* text, UTC_DATE** out) {
  return configapi::read_date<configapi::read_ctime_date>(text, out);
}

extern "C" int makewkday(const UTC_DATE* date) {
  return configapi::weekday_of(*date);
}

extern "C" int UTC2rfc(UTC_DATE* date, char* out) {
  *out = '\0';
  if (date == nullptr || date->month < 1 || date->month > configapi::kMonths ||
      !configapi::settle_year(date)) {
    return 0;
  }
  const int weekday = configapi::weekday_of(*date);
  if (weekday < 0) {
    return 0;
  }
  configapi::write_date(*date, weekday, out);
  return 1;
}
