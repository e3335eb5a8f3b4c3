// Walks a date text. The terminator is in no character class, so no step
// passes it.

#ifndef CONFIGAPI_DATE_CURSOR_H_
#define CONFIGAPI_DATE_CURSOR_H_

#include <ctype.h>

#include <climits>
#include <cstddef>
#include <cstring>
#include <string_view>

namespace configapi {

class DateCursor {
 public:
  explicit DateCursor(const char* text) : at_(text) {}

  // The next character, 0 at the end.
  [[nodiscard]] char peek() const { return *at_; }
  [[nodiscard]] const char* position() const { return at_; }

  [[nodiscard]] bool at_letter() const { return is(_ISalpha); }
  // The digits are the same ten in every locale (C11 7.4.1.5).
  [[nodiscard]] bool at_digit() const { return digit() < 10; }

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
    int value = 0;
    for (; at_digit(); ++at_) {
      const int next = static_cast<int>(digit());
      if (__builtin_mul_overflow(value, 10, &value) ||
          __builtin_add_overflow(value, next, &value)) {
        value = INT_MAX;
      }
    }
    return value;
  }

 private:
  [[nodiscard]] unsigned digit() const {
    return static_cast<unsigned char>(*at_) - unsigned{'0'};
  }
  [[nodiscard]] bool is(unsigned classes) const {
    return (table_[static_cast<unsigned char>(*at_)] & classes) != 0;
  }
  void skip(unsigned classes) {
    while (is(classes)) {
      ++at_;
    }
  }

  const char* at_;
  // What isalpha() and its like look up in the locale's name for every
  // character, looked up once.
  const unsigned short* table_ = *__ctype_b_loc();
};

}  // namespace configapi

#endif  // CONFIGAPI_DATE_CURSOR_H_
