// Dates read into a record that the caller has.

#ifndef CONFIGAPI_READ_DATE_H_
#define CONFIGAPI_READ_DATE_H_

#include <configapi/rfcdate.h>

namespace configapi {

// Read what rfc2UTC() and ctime2UTC() read. On false, which means that the text
// is no such date, the record's contents mean nothing.
bool read_rfc822_date(const char* text, UTC_DATE* date);
bool read_ctime_date(const char* text, UTC_DATE* date);

}  // namespace configapi

#endif  // CONFIGAPI_READ_DATE_H_
