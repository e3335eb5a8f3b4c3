// The search behind every form of ldapClientSearch().

#ifndef CONFIGAPI_SEARCH_H_
#define CONFIGAPI_SEARCH_H_

#include <ldap.h>
#include <sys/time.h>

#include "ldap/entries.h"

namespace configapi {

// The codes of ldapClientSearch(), and one that only the library sees: there is
// no answer, since memory ran out or the LDAP library itself failed. What was
// asked for may exist all the same.
enum class SearchCode {
  kFound = 0,
  kNotFound = 1,
  kNotCounted = 2,
  kNoSession = 4,
  kNoAnswer = 5,
};

// What a host is told.
constexpr int public_code(SearchCode code) {
  return static_cast<int>(code == SearchCode::kNoAnswer ? SearchCode::kNotFound
                                                        : code);
}

// The arguments of ldapClientSearch(); without attrs all are wanted, without a
// timeout there is no limit.
struct SearchQuery {
  char* base = nullptr;
  int scope = LDAP_SCOPE_SUBTREE;
  int option = LDAP_DEREF_NEVER;
  char* filter = nullptr;
  char** attrs = nullptr;
  timeval* timeout = nullptr;
};

// Asks the server, once more when the connection turns out to be lost and
// another can be had, and logs what goes wrong. *code is kFound when there are
// entries, and only then.
EntriesPtr search(ldapClient* client, const SearchQuery& query,
                  SearchCode* code);

}  // namespace configapi

#endif  // CONFIGAPI_SEARCH_H_
