// Values of every type, which the first byte selects ('A' is type 1). The
// verdict of the types with numbers in them is compared with what the C
// library's scanf and strto functions make of the text.

#include <configapi/config.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <initializer_list>

#include "fuzz/target.h"

namespace {

using fuzz::require;

using Field = std::array<char, 4>;

bool in_range(const char* digits, int most) {
  return std::strspn(digits, "0123456789") == std::strlen(digits) &&
         std::strtol(digits, nullptr, 10) <= most;
}

bool is_ip_address(const char* text) {
  Field a;
  Field b;
  Field c;
  Field d;
  int end = 0;
  return std::sscanf(text, "%3[^.].%3[^.].%3[^.].%3[^.]%n", a.data(), b.data(),
                     c.data(), d.data(), &end) == 4 &&
         text[end] == '\0' &&
         std::ranges::all_of(
             std::initializer_list<Field>{a, b, c, d},
             [](const Field& f) { return in_range(f.data(), 255); });
}

bool is_time(const char* text) {
  Field h;
  Field m;
  Field s{"0"};
  int two = 0;
  int three = 0;
  std::sscanf(text, "%3[^:]:%3[^:]%n:%3[^:]%n", h.data(), m.data(), &two,
              s.data(), &three);
  return two != 0 && (text[two] == '\0' || (three != 0 && !text[three])) &&
         in_range(h.data() + (h[0] == '+' ? 1 : 0), 23) &&
         in_range(m.data(), 59) && in_range(s.data(), 59);
}

bool is_number_above_zero(const char* text) {
  char* end = nullptr;
  const long long value = std::strtoll(text, &end, 10);
  return *text == '\0' ||
         (value > 0 && *end == '\0' && std::strpbrk(text, "+-") == nullptr);
}

void check(unsigned long type, bool valid, const char* given,
           const char* left) {
  switch (type) {
    case TYPE_IP_ADDRESS:
      return require(valid == is_ip_address(given));
    case TYPE_NUMBER:
      return require(valid ==
                     (std::strspn(given, "0123456789") == std::strlen(given)));
    case TYPE_NUMBER_NZ:
      return require(valid == is_number_above_zero(given));
    case TYPE_REAL:
      return require(valid ==
                     (std::strtod(left, nullptr) > 0 &&
                      std::strspn(left, "0123456789.") == std::strlen(given) &&
                      std::strchr(left, '.') == std::strrchr(left, '.')));
    case TYPE_TIME:
      return require(valid == is_time(given));
    default:
      return;
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  if (size == 0) {
    return 0;
  }
  const unsigned long type = data[0] & 31U;
  const auto given = fuzz::exact_copy(fuzz::view(data + 1, size - 1));
  const auto text = fuzz::exact_copy(given.get());
  const int verdict = valid8_type(type, text.get());
  require(verdict == 0 || verdict == (type == TYPE_STRING_LIST ? 1 : -1));
  require(std::strlen(text.get()) == std::strlen(given.get()));
  require(type == TYPE_REAL || type == TYPE_RFC822_ADDRESS ||
          std::strcmp(text.get(), given.get()) == 0);
  check(type, verdict == 0, given.get(), text.get());
  return 0;
}
