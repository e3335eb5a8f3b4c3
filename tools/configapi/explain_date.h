// Dates as the library reads them, and why it does not.

#ifndef CONFIGAPI_TOOLS_EXPLAIN_DATE_H_
#define CONFIGAPI_TOOLS_EXPLAIN_DATE_H_

#include <configapi/rfcdate.h>

#include <cstdlib>
#include <memory>
#include <optional>
#include <string>

#include "remark.h"

namespace configapi::tool {

// The two forms that the library reads.
enum class DateForm { kRfc822, kCtime };

// The library's records are released with free().
struct FreeDate {
  void operator()(UTC_DATE* date) const { std::free(date); }
};
using DatePtr = std::unique_ptr<UTC_DATE, FreeDate>;

// The date, or null when the text is none of this form.
DatePtr read_date(const std::string& text, DateForm form);

// The text that UTC2rfc() makes of a date; empty when it makes none.
std::string rfc822_text(UTC_DATE date);

// An object with the members year, month, day, hour, minute, second, zone
// (minutes east of UTC) and the truth values zone_given and seconds_given.
Json date_row(const UTC_DATE& date);

// Where a text stops being a date, by the steps of rfc2UTC() or ctime2UTC();
// nothing for a date.
std::optional<Remark> find_date_fault(const std::string& text, DateForm form);

// How the date was read and what was passed over, or why it is none.
Remarks explain_date(const std::string& text, DateForm form);

}  // namespace configapi::tool

#endif  // CONFIGAPI_TOOLS_EXPLAIN_DATE_H_
