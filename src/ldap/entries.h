// Search results as records that a host can walk.

#ifndef CONFIGAPI_ENTRIES_H_
#define CONFIGAPI_ENTRIES_H_

#include <configapi/ldapclient.h>
#include <ldap.h>

#include <memory>

namespace configapi {

// Releases a list, complete or not; null does nothing.
void free_entries(SearchReq* list);

struct EntriesFree {
  void operator()(SearchReq* list) const { free_entries(list); }
};
using EntriesPtr = std::unique_ptr<SearchReq, EntriesFree>;

// Copies the entries of a result; null when memory is out.
EntriesPtr copy_entries(LDAP* ld, LDAPMessage* result);

// The first record whose name is `name`, letter case ignored, or null.
const attrval* find_attribute(const attrval* list, const char* name);

}  // namespace configapi

#endif  // CONFIGAPI_ENTRIES_H_
