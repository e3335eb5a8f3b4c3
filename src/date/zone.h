// Zones within the library: what getzone() does, from a cursor.

#ifndef CONFIGAPI_ZONE_H_
#define CONFIGAPI_ZONE_H_

#include <configapi/rfcdate.h>

#include "date/date_cursor.h"

namespace configapi {

// Reads a zone at the cursor into the record, which stays as it was when there
// is none.
void read_zone(DateCursor cursor, UTC_DATE* date);

}  // namespace configapi

#endif  // CONFIGAPI_ZONE_H_
