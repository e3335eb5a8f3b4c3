// Values of every type, which the first byte selects ('A' is type 1). The
// verdict on a value that was accepted stays, and what has numbers in it is
// read by the C library as a whole and in range.

#include <configapi/config.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "fuzz/target.h"

namespace {

using fuzz::require;

bool is_whole(const char* text, int end) {
  return end != 0 && text[end] == '\0';
}

// NOLINTBEGIN(cert-err34-c): the ends that sscanf() reports are looked at
void check_accepted(unsigned long type, const char* text) {
  unsigned a = 0;
  unsigned b = 0;
  unsigned c = 0;
  unsigned d = 0;
  int end = 0;
  int further = 0;
  switch (type) {
    case TYPE_DATE:
      std::sscanf(text, "%2u/%2u/%4u%n", &a, &b, &c, &end);
      return require(is_whole(text, end) && end == 10);
    case TYPE_IP_ADDRESS:
      std::sscanf(text, "%3u.%3u.%3u.%3u%n", &a, &b, &c, &d, &end);
      return require(is_whole(text, end) && (a | b | c | d) <= 255);
    case TYPE_TIME:
      std::sscanf(text, "%3u:%3u%n:%3u%n", &a, &b, &end, &c, &further);
      return require(*text == '+' || (is_whole(text, std::max(end, further)) &&
                                      a <= 23 && b <= 59 && c <= 59));
    case TYPE_NUMBER:
      return require(text[std::strspn(text, "0123456789")] == '\0');
    case TYPE_NUMBER_NZ:
      return require(*text == '\0' || std::strtod(text, nullptr) > 0);
    case TYPE_REAL: {
      char* rest = nullptr;
      return require(std::strtod(text, &rest) > 0 && *rest == '\0');
    }
    default:
      return;
  }
}
// NOLINTEND(cert-err34-c)

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
  if (verdict == 0) {
    check_accepted(type, text.get());
    // An address may lose a quote to the backslash of another in front of it.
    const auto again = fuzz::exact_copy(text.get());
    require(type == TYPE_RFC822_ADDRESS || valid8_type(type, again.get()) == 0);
    require(std::strcmp(again.get(), text.get()) == 0);
  }
  return 0;
}
