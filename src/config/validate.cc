// The rules of the value types: what may be stored as a setting.

#include <configapi/config.h>
#include <configapi/rfc822.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <climits>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <system_error>

#include "base/ascii.h"

namespace configapi {
namespace {

// Letters and white space are the locale's. A byte counts as a signed
// character, which makes 0xFF the end of file: in no class.
constexpr char kEndOfFile = '\xFF';

bool is_letter(char c) {
  return c != kEndOfFile && std::isalpha(static_cast<unsigned char>(c)) != 0;
}

bool is_space(char c) {
  return c != kEndOfFile && std::isspace(static_cast<unsigned char>(c)) != 0;
}

// The digits are the same ten in every locale (C11 7.4.1.5).
bool is_digit(char c) {
  return c >= '0' && c <= '9';
}

bool is_letter_or_digit(char c) {
  return is_digit(c) || is_letter(c);
}

bool all_digits(std::string_view text) {
  return std::all_of(text.begin(), text.end(), is_digit);
}

// Digits as a number, 0 when there are none. One too large for an int, which
// has 32 bits in both word sizes, becomes the largest.
int number(std::string_view digits) {
  int value = 0;
  const auto [end, error] =
      std::from_chars(digits.data(), digits.data() + digits.size(), value);
  return error == std::errc::result_out_of_range ? INT_MAX : value;
}

bool is_up_to(std::string_view text, int most) {
  return all_digits(text) && number(text) <= most;
}

// Fields of addresses and times have one to three characters.
bool is_field(std::string_view text) {
  constexpr std::size_t kMaxField = 3;
  return !text.empty() && text.size() <= kMaxField;
}

// Takes the text up to the mark, or all of it, and the mark.
std::string_view take_field(std::string_view& text, char mark) {
  const std::string_view field = text.substr(0, text.find(mark));
  text.remove_prefix(std::min(field.size() + 1, text.size()));
  return field;
}

template <std::size_t N>
bool is_one_of(const char* text, const std::array<const char*, N>& names) {
  return std::any_of(names.begin(), names.end(), [text](const char* name) {
    return same_name(text, name);
  });
}

bool is_date(std::string_view text) {
  constexpr std::string_view kForm = "nn/nn/nnnn";
  return std::equal(
      text.begin(), text.end(), kForm.begin(), kForm.end(),
      [](char c, char form) { return form == 'n' ? is_digit(c) : c == form; });
}

bool is_ip_address(std::string_view text) {
  constexpr int kMaxOctet = 255;
  if (std::count(text.begin(), text.end(), '.') != 3) {
    return false;
  }
  for (int i = 0; i < 4; ++i) {
    const std::string_view octet = take_field(text, '.');
    if (!is_field(octet) || !is_up_to(octet, kMaxOctet)) {
      return false;
    }
  }
  return true;
}

constexpr int kMaxHour = 23;
constexpr int kMaxMinute = 59;

bool is_hours(std::string_view text) {
  return is_field(text) &&
         is_up_to(text.substr(text.front() == '+' ? 1 : 0), kMaxHour);
}

bool is_sixtieth(std::string_view text) {
  return is_field(text) && is_up_to(text, kMaxMinute);
}

bool is_time(std::string_view text) {
  const auto marks = std::count(text.begin(), text.end(), ':');
  return (marks == 1 || marks == 2) && is_hours(take_field(text, ':')) &&
         is_sixtieth(take_field(text, ':')) &&
         (marks == 1 || is_sixtieth(text));
}

// Hours and minutes in four digits.
bool is_hhmm(std::string_view text) {
  return text.size() == 4 && is_up_to(text.substr(0, 2), kMaxHour) &&
         is_up_to(text.substr(2), kMaxMinute);
}

// RFC 822 section 5.1: a name, a military letter (there is no J) or an offset.
// What begins with anything else has always been let through.
bool is_timezone(std::string_view text) {
  constexpr std::array<std::string_view, 10> kNames = {
      "UT", "GMT", "EST", "EDT", "CST", "CDT", "MST", "MDT", "PST", "PDT"};
  if (text.empty() ||
      std::find(kNames.begin(), kNames.end(), text) != kNames.end()) {
    return true;
  }
  const char first = text.front();
  if (first == '+' || first == '-') {
    return is_hhmm(text.substr(1));
  }
  if (is_letter(first)) {
    return text.size() == 1 && ascii_lower(first) != 'j';
  }
  return !is_digit(first) || is_hhmm(text);
}

bool is_number_above_zero(std::string_view text) {
  const auto* const digits =
      std::find_if_not(text.begin(), text.end(), is_space);
  text.remove_prefix(static_cast<std::size_t>(digits - text.begin()));
  return all_digits(text) && number(text) > 0;
}

// Digits and at most one point, which is the decimal mark whatever the locale:
// a setting is read by processes of any. Only a fraction can be too small for
// a double, and is 0 then.
bool is_above_zero(std::string_view text) {
  const std::string_view whole = text.substr(0, text.find('.'));
  if (whole.find_first_not_of('0') != std::string_view::npos) {
    return true;
  }
  double value = 0;
  std::from_chars(text.data(), text.data() + text.size(), value,
                  std::chars_format::fixed);
  return value > 0;
}

// Makes a point of whatever is no digit; the second one ends the walk.
bool is_real(char* const text) {
  int points = 0;
  char* p = text;
  for (; *p != '\0'; ++p) {
    if (!is_digit(*p)) {
      *p = '.';
      if (++points == 2) {
        return false;
      }
    }
  }
  return is_above_zero({text, static_cast<std::size_t>(p - text)});
}

bool is_address(char* text) {
  RecipTable table{};
  const unsigned int count = RecipParse(text, &table, 1);
  Clear_RT(&table);
  return count != 0;
}

bool is_charset(const char* text) {
  constexpr std::array<const char*, 7> kNames = {
      "CP1252", "CP850", "CP437", "LMBCS", "ISTRING", "UNICODE", "CP932"};
  return is_one_of(text, kNames);
}

bool is_seven_bit(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char c) {
    return static_cast<unsigned char>(c) < 0x80U;
  });
}

// The text may end within its count, and is not read any further then.
bool is_counted(const char* text) {
  std::uint32_t count = 0;
  if (strnlen(text, sizeof count) < sizeof count) {
    return false;
  }
  std::memcpy(&count, text, sizeof count);
  return std::strlen(text + sizeof count) == count;
}

bool is_valid(unsigned long type, char* text) {
  switch (type) {
    case TYPE_BOOLEAN_TF:
      return is_one_of<2>(text, {"TRUE", "FALSE"});
    case TYPE_BOOLEAN_YN:
      return is_one_of<2>(text, {"YES", "NO"});
    case TYPE_BOOLEAN_01:
      return is_one_of<2>(text, {"0", "1"});
    case TYPE_DATE:
      return is_date(text);
    case TYPE_DIRECTORY:
    case TYPE_FILENAME:
    case TYPE_FILENAME_N:
      return check_dir(text) != 0;
    case TYPE_HOSTNAME:
    case TYPE_DOMAINNAME:
    case TYPE_HOSTDOMAIN:
      return check_label(text) == 0;
    case TYPE_IP_ADDRESS:
      return is_ip_address(text);
    case TYPE_NUMBER:
      return all_digits(text);
    case TYPE_NUMBER_NZ:
      return *text == '\0' || is_number_above_zero(text);
    case TYPE_REAL:
      return is_real(text);
    case TYPE_RFC822_ADDRESS:
      return is_address(text);
    case TYPE_STRING:
    case TYPE_STRING_N:
    case TYPE_RRQ:
      return true;
    case TYPE_TIME:
      return is_time(text);
    case TYPE_LOCALCHARSET:
      return is_seven_bit(text);
    case TYPE_TIMEZONE:
      return is_timezone(text);
    case TYPE_VIMCHARSET:
      return is_charset(text);
    case TYPE_OCTET:
      return is_counted(text);
    default:
      return false;
  }
}

// Types whose keys may do without a value.
bool is_optional(unsigned long type) {
  return type == TYPE_NUMBER_NZ || type == TYPE_STRING_N || type == TYPE_RRQ;
}

std::string_view without_leading_blanks(std::string_view text) {
  text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
  return text;
}

}  // namespace
}  // namespace configapi

extern "C" {

int valid8_type(unsigned long type, char* value) {
  if (type == TYPE_STRING_LIST) {
    return 1;
  }
  const bool valid = value != nullptr ? configapi::is_valid(type, value)
                                      : configapi::is_optional(type);
  return valid ? 0 : -1;
}

// NOLINTNEXTLINE(readability-non-const-parameter): as hosts declare it
int check_label(char* text) {
  const auto name = configapi::without_leading_blanks(text);
  const auto is_part = [](char c) {
    return configapi::is_letter_or_digit(c) || c == '-' || c == '.';
  };
  const bool good = !name.empty() && configapi::is_letter(name.front()) &&
                    std::all_of(name.begin() + 1, name.end(), is_part) &&
                    name.back() != '.';
  return good ? 0 : -1;
}

// NOLINTNEXTLINE(readability-non-const-parameter): as hosts declare it
unsigned char check_dir(char* text) {
  constexpr std::string_view kServer = R"(\\)";
  const auto path = configapi::without_leading_blanks(text);
  const bool good = path.starts_with(kServer) &&
                    path.find('\\', kServer.size()) != std::string_view::npos &&
                    configapi::is_letter_or_digit(path.back());
  return good ? 1 : 0;
}

}  // extern "C"
