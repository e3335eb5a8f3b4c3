#include "ldap/probe.h"

#include <cerrno>

#include "ldap/owners.h"

namespace configapi {

timeval as_timeval(std::chrono::milliseconds limit) {
  return {static_cast<time_t>(limit.count() / 1000),
          static_cast<suseconds_t>(limit.count() % 1000 * 1000)};
}

bool answers(LDAP* ld, std::chrono::milliseconds limit) {
  char none[] = LDAP_NO_ATTRS;
  char* attrs[] = {none, nullptr};
  timeval patience = as_timeval(limit);
  LDAPMessage* result = nullptr;
  const int code =
      ldap_search_ext_s(ld, "", LDAP_SCOPE_BASE, "(objectClass=*)", attrs, 0,
                        nullptr, nullptr, &patience, 1, &result);
  const ResultPtr owner(result);
  errno = code == LDAP_TIMEOUT ? ETIMEDOUT : ECONNRESET;
  return code >= 0;
}

}  // namespace configapi
