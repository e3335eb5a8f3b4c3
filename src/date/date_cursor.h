// Walks a date text. The terminator is in no character class, so no step
// passes it.

#ifndef CONFIGAPI_DATE_CURSOR_H_
#define CONFIGAPI_DATE_CURSOR_H_

#include <ctype.h>

#include <charconv>
#include <climits>
#include <cstddef>
#include <cstring>
#include <string_view>
#include <system_error>

namespace configapi {

class DateCursor {
 public:
  explicit DateCursor(const char* text) : at_(text) {}

  // The next character, 0 at the end.
  [[nodiscard]] char peek() const { return *at_; }
  [[nodiscard]] const char* position() const { return at_; }

  [[nodiscard]] bool at_letter() const { return is(_ISalpha); }
  // The digits are the same ten in every locale (C11 7.4.1.5).
  [[nodiscard]] bool at_digit() const { return digit(0) < 10; }

  bool take(char c) {
    const bool there = *at_ == c;
    at_ += there ? 1 : 0;
    return there;
  }

  void skip_space() { skip(_ISspace); }
  void skip_space_and_punctuation() { skip(_ISspace | _ISpunct); }

  // Goes to the first such character from here on; false when there is none.
  bool skip_to(char c) {
    const char* const found = std::strchr(at_, c);
    at_ = found != nullptr ? found : at_;
    return found != nullptr;
  }

  // The run of letters here, possibly empty.
  std::string_view letters() {
    const char* const begin = at_;
    skip(_ISalpha);
    return {begin, static_cast<std::size_t>(at_ - begin)};
  }

  // The run of digits here as a number, 0 when it is empty. One too large for
  // an int becomes the largest int, which no check of a range lets through.
  int number() {
    // Most numbers of a date have two digits, and take no loop.
    if (digit(0) < 10 && digit(1) < 10 && digit(2) >= 10) {
      const unsigned value = 10 * digit(0) + digit(1);
      at_ += 2;
      return static_cast<int>(value);
    }
    constexpr std::ptrdiff_t kSafeDigits = 9;
    const char* const begin = at_;
    unsigned value = 0;
    for (; at_digit(); ++at_) {
      value = 10 * value + digit(0);
    }
    return at_ - begin <= kSafeDigits ? static_cast<int>(value)
                                      : long_number({begin, at_});
  }

 private:
  // The value of the digit so far ahead, more than 9 when it is none.
  [[nodiscard]] unsigned digit(int ahead) const {
    return static_cast<unsigned char>(at_[ahead]) - unsigned{'0'};
  }
  [[nodiscard]] bool is(unsigned classes) const {
    return (table_[static_cast<unsigned char>(*at_)] & classes) != 0;
  }
  void skip(unsigned classes) {
    while (is(classes)) {
      ++at_;
    }
  }

  // A run with leading zeros may still be a small number.
  static int long_number(std::string_view digits) {
    int value = 0;
    const char* const end = digits.data() + digits.size();
    return std::from_chars(digits.data(), end, value).ec == std::errc{}
               ? value
               : INT_MAX;
  }

  const char* at_;
  // What isalpha() and its like look up in the locale's name for every
  // character, looked up once.
  const unsigned short* table_ = *__ctype_b_loc();
};

}  // namespace configapi

#endif  // CONFIGAPI_DATE_CURSOR_H_
