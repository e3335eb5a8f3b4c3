// What the fuzz targets of dates share.

#ifndef CONFIGAPI_FUZZ_DATE_TARGET_H_
#define CONFIGAPI_FUZZ_DATE_TARGET_H_

#include <configapi/rfcdate.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

namespace fuzz {

// The input up to its first NUL, in a block that ends with it.
inline std::unique_ptr<char[]> text_of(const std::uint8_t* data,
                                       std::size_t size) {
  const std::size_t length = strnlen(reinterpret_cast<const char*>(data), size);
  std::unique_ptr<char[]> text(new char[length + 1]);
  std::memcpy(text.get(), data, length);
  text[length] = '\0';
  return text;
}

inline void require(bool condition) {
  if (!condition) {
    std::abort();
  }
}

// The date's text, which must fit its 64 bytes.
inline std::string formatted(const UTC_DATE& date) {
  UTC_DATE copy = date;
  const std::unique_ptr<char[]> out(new char[64]);
  const int result = UTC2rfc(&copy, out.get());
  require(std::memchr(out.get(), '\0', 64) != nullptr);
  require((result == 1) == (*out.get() != '\0'));
  require(std::memcmp(&copy, &date, sizeof date) == 0);
  return out.get();
}

}  // namespace fuzz

#endif  // CONFIGAPI_FUZZ_DATE_TARGET_H_
