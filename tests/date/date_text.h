// What the tests of dates share.

#ifndef CONFIGAPI_TESTS_DATE_TEXT_H_
#define CONFIGAPI_TESTS_DATE_TEXT_H_

#include <configapi/rfcdate.h>

#include <cstdlib>
#include <sstream>
#include <string>

#include "rfc822/exact_text.h"

namespace test {

// "1998-11-16 15:48:37 -300 f3": the zone and the flags as they stand.
inline std::string describe(const UTC_DATE& date) {
  std::ostringstream text;
  text << date.year << '-' << date.month << '-' << date.day << ' ' << date.hour
       << ':' << date.minute << ':' << date.second << ' ' << date.zone << " f"
       << date.flags << (date.spare == 0 ? "" : " spare!");
  return text.str();
}

// The record that the parser makes of the text, or "refused".
inline std::string parsed(int (*parse)(const char*, UTC_DATE**),
                          const std::string& text) {
  UTC_DATE stale{};
  UTC_DATE* date = &stale;
  const int result = parse(ExactText(text).get(), &date);
  if (result != (date != nullptr ? 1 : 0)) {
    return "result and record differ";
  }
  const std::string fields = date != nullptr ? describe(*date) : "refused";
  std::free(date);
  return fields;
}

}  // namespace test

#endif  // CONFIGAPI_TESTS_DATE_TEXT_H_
