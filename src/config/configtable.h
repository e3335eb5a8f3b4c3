// The schema table as the library's own calls search it.

#ifndef CONFIGAPI_CONFIGTABLE_H_
#define CONFIGAPI_CONFIGTABLE_H_

#include <configapi/config.h>

namespace configapi {

// The first slot of the address, letter case ignored, or null.
const cfgKey* find_key(const char* section, const char* key);

}  // namespace configapi

#endif  // CONFIGAPI_CONFIGTABLE_H_
