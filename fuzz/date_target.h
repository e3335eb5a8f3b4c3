// What the fuzz targets of dates share.

#ifndef CONFIGAPI_FUZZ_DATE_TARGET_H_
#define CONFIGAPI_FUZZ_DATE_TARGET_H_

#include <configapi/rfcdate.h>

#include <cstring>
#include <memory>
#include <string>

#include "fuzz/target.h"

namespace fuzz {

// The date's text, which must fit its 64 bytes.
inline std::string formatted(const UTC_DATE& date) {
  UTC_DATE copy = date;
  const std::unique_ptr<char[]> out(new char[64]);
  const int result = UTC2rfc(&copy, out.get());
  require(std::memchr(out.get(), '\0', 64) != nullptr);
  require((result == 1) == (out[0] != '\0'));
  require(std::memcmp(&copy, &date, sizeof date) == 0);
  return out.get();
}

}  // namespace fuzz

#endif  // CONFIGAPI_FUZZ_DATE_TARGET_H_
