#include "explain_date.h"
#include "nearest.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <climits>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <string_view>

namespace configapi::tool {
namespace {

constexpr std::size_t kNameLetters = 3;  // that count, of a month or weekday

bool is_leap(int year) {
  return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
}

// The years 0 to 37 and 80 to 99 stand for 1980 to 2037.
int full_year(int year) {
  if (year >= 0 && year <= 37) {
    return year + 2000;
  }
  return year >= 80 && year <= 99 ? year + 1900 : year;
}

// Characters are classified by the process's locale, as the library does it.
bool is_space(char c) {
  return std::isspace(static_cast<unsigned char>(c)) != 0;
}
bool is_letter(char c) {
  return std::isalpha(static_cast<unsigned char>(c)) != 0;
}
bool is_digit(char c) {
  return c >= '0' && c <= '9';
}
bool is_separator(char c) {
  return is_space(c) || std::ispunct(static_cast<unsigned char>(c)) != 0;
}

using Fault = std::optional<Remark>;

// Walks a text by the library's steps up to the first that fails.
class DateWalk {
 public:
  explicit DateWalk(std::string_view text) : text_(text) {}

  Fault rfc822();
  Fault ctime();

  // What has not been read.
  [[nodiscard]] std::string_view rest() const { return text_.substr(at_); }

 private:
  [[nodiscard]] char peek() const {
    return at_ < text_.size() ? text_[at_] : '\0';
  }
  template <typename Class>
  std::string_view run(Class of_class) {
    const std::size_t begin = at_;
    while (at_ < text_.size() && of_class(text_[at_])) {
      ++at_;
    }
    return text_.substr(begin, at_ - begin);
  }
  int number();
  [[nodiscard]] Remark fault(std::size_t at, const std::string& text) const;
  [[nodiscard]] Remark missing(const char* what) const;

  Fault day();
  Fault month();
  Fault year();
  Fault time(bool in_range);
  [[nodiscard]] Fault calendar() const;

  std::string_view text_;
  std::size_t at_ = 0;
  std::size_t day_at_ = 0;
  int day_ = 0;
  int month_ = 0;
  int year_ = 0;
};

// Runs that no int holds count as the largest.
int DateWalk::number() {
  long long value = 0;
  for (const char digit : run(is_digit)) {
    value = std::min<long long>(10 * value + (digit - '0'), INT_MAX);
  }
  return static_cast<int>(value);
}

Remark DateWalk::fault(std::size_t at, const std::string& text) const {
  const std::string_view tail = text_.substr(at);
  const auto* const end = std::find_if(tail.begin(), tail.end(), is_space);
  const auto length = static_cast<std::size_t>(end - tail.begin());
  return {text, at, std::string(tail.substr(0, length))};
}

Remark DateWalk::missing(const char* what) const {
  return fault(at_, std::string(what) + " should stand here");
}

Fault DateWalk::day() {
  if (!is_digit(peek())) {
    return missing("the day of the month, in digits,");
  }
  day_at_ = at_;
  day_ = number();
  run(is_space);
  return std::nullopt;
}

Fault DateWalk::month() {
  const std::size_t begin = at_;
  const std::string word(run(is_letter).substr(0, kNameLetters));
  if (word.empty()) {
    return missing("a month's name");
  }
  const int index =
      cmd_srch(word.c_str(), static_cast<const NameEntry*>(tbl_month));
  if (index < 0) {
    return fault(begin, "a month is Jan, Feb, Mar and so on, in these letters");
  }
  month_ = index + 1;
  run(is_space);
  return std::nullopt;
}

Fault DateWalk::year() {
  const std::size_t begin = at_;
  if (!is_digit(peek())) {
    return missing("the year, in digits,");
  }
  year_ = full_year(number());
  if (year_ < 1980 || year_ > 2037) {
    return fault(begin, "a year is 1980 to 2037, or its last two digits");
  }
  run(is_space);
  return std::nullopt;
}

Fault DateWalk::calendar() const {
  const bool leap_day = month_ == 2 && is_leap(year_);
  const int last = leap_day ? 29 : dmsize[month_ - 1];
  if (day_ < 1 || day_ > last) {
    return fault(day_at_,
                 "this month has the days 1 to " + std::to_string(last));
  }
  return std::nullopt;
}

Fault DateWalk::time(bool in_range) {
  struct Part {
    const char* name;
    int largest;
  };
  constexpr std::array<Part, 3> kParts{
      {{"hour", 23}, {"minute", 59}, {"second", 59}}};
  Fault first;
  for (const Part& part : kParts) {
    const bool is_hour = &part == kParts.data();
    if (is_hour ? !is_digit(peek()) : peek() != ':') {
      continue;
    }
    at_ += is_hour ? 0 : 1;
    const std::size_t begin = at_;
    if (number() > part.largest && in_range && !first) {
      first = fault(begin, std::string("the ") + part.name + " is 0 to " +
                               std::to_string(part.largest));
    }
    run(is_space);
  }
  return first;
}

Fault DateWalk::rfc822() {
  run(is_space);
  if (is_letter(peek())) {
    run(is_letter);
    run(is_separator);
  }
  for (const auto step : {&DateWalk::day, &DateWalk::month, &DateWalk::year}) {
    if (Fault found = (this->*step)()) {
      return found;
    }
  }
  if (Fault found = calendar()) {
    return found;
  }
  return time(true);
}

Fault DateWalk::ctime() {
  run(is_space);
  const std::size_t blank = text_.find(' ', at_);
  if (blank == std::string_view::npos) {
    return fault(at_, "a day's name and a blank should stand here");
  }
  at_ = blank;
  run(is_space);
  for (const auto step : {&DateWalk::month, &DateWalk::day}) {
    if (Fault found = (this->*step)()) {
      return found;
    }
  }
  time(false);
  run(is_letter);
  run(is_space);
  return year();
}

Fault walk(DateWalk* walk, DateForm form) {
  return form == DateForm::kRfc822 ? walk->rfc822() : walk->ctime();
}

// A zone is a sign and four characters, or a word.
std::string_view zone_of(std::string_view text) {
  constexpr std::size_t kSignAndDigits = 5;
  if (text.starts_with('+') || text.starts_with('-')) {
    return text.substr(0, kSignAndDigits);
  }
  const auto* const end = std::find_if_not(text.begin(), text.end(), is_letter);
  return text.substr(0, static_cast<std::size_t>(end - text.begin()));
}

std::string_view without_blanks(std::string_view text) {
  while (!text.empty() && is_space(text.front())) {
    text.remove_prefix(1);
  }
  while (!text.empty() && is_space(text.back())) {
    text.remove_suffix(1);
  }
  return text;
}

// Behind a year and time stand the zone and what nobody reads.
void explain_tail(std::string_view tail, bool zone_known, Remarks* remarks) {
  const std::string_view zone = zone_of(tail);
  if (!zone_known) {
    remarks->push_back({zone.empty() ? "it has no zone"
                                     : in_quotes(zone) + " is no known zone"});
  }
  const auto rest = without_blanks(tail.substr(zone.size()));
  if (!rest.empty()) {
    remarks->push_back({in_quotes(rest) + " behind it is not read"});
  }
}

std::string how_read(const UTC_DATE& date) {
  std::array<char, 160> text{};
  std::snprintf(text.data(), text.size(),
                "read as year %d, month %d, day %d, time %02d:%02d", date.year,
                date.month, date.day, date.hour, date.minute);
  std::string how = text.data();
  if ((date.flags & DATE_SECONDS) != 0) {
    std::snprintf(text.data(), text.size(), ":%02d", date.second);
    how += text.data();
  }
  if ((date.flags & DATE_ZONE) != 0) {
    how += ", " + std::to_string(date.zone) + " minutes east of UTC";
  }
  return how;
}

void explain_weekday(std::string_view text, const UTC_DATE& date,
                     Remarks* remarks) {
  const std::string_view word = without_blanks(text).substr(0, kNameLetters);
  const int actual = makewkday(&date);
  const bool is_name =
      std::any_of(std::begin(Day), std::end(Day),
                  [word](const char* name) { return same_name(name, word); });
  if (is_name && actual >= 0 && !same_name(Day[actual], word)) {
    remarks->push_back({"it says " + std::string(word) +
                        ", but that day is a " + Day[actual]});
  }
}

}  // namespace

DatePtr read_date(const std::string& text, DateForm form) {
  UTC_DATE* date = nullptr;
  if (form == DateForm::kRfc822) {
    rfc2UTC(text.c_str(), &date);
  } else {
    ctime2UTC(text.c_str(), &date);
  }
  return DatePtr(date);
}

std::string rfc822_text(UTC_DATE date) {
  std::array<char, 64> text{};
  UTC2rfc(&date, text.data());
  return text.data();
}

Json date_row(const UTC_DATE& date) {
  return {{"year", date.year},
          {"month", date.month},
          {"day", date.day},
          {"hour", date.hour},
          {"minute", date.minute},
          {"second", date.second},
          {"zone", date.zone},
          {"zone_given", (date.flags & DATE_ZONE) != 0},
          {"seconds_given", (date.flags & DATE_SECONDS) != 0}};
}

std::optional<Remark> find_date_fault(const std::string& text, DateForm form) {
  DateWalk steps(text.c_str());
  return walk(&steps, form);
}

Remarks explain_date(const std::string& text, DateForm form) {
  DateWalk steps(text.c_str());
  const Fault fault = walk(&steps, form);
  const DatePtr date = read_date(text, form);
  if (date == nullptr) {
    return {fault.value_or(Remark{"memory is out"})};
  }
  Remarks remarks{{how_read(*date)}};
  explain_weekday(text, *date, &remarks);
  if (form == DateForm::kRfc822) {
    explain_tail(steps.rest(), (date->flags & DATE_ZONE) != 0, &remarks);
  } else if (const auto rest = without_blanks(steps.rest()); !rest.empty()) {
    remarks.push_back({in_quotes(rest) + " behind it is not read"});
  }
  return remarks;
}

}  // namespace configapi::tool
