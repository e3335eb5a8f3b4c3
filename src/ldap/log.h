// The directory client's log lines.

#ifndef CONFIGAPI_LDAP_LOG_H_
#define CONFIGAPI_LDAP_LOG_H_

#include <configapi/host.h>

namespace configapi {

inline void log_ldap_error(const char* text) {
  LogMessage(1, "LDAP Client API", text);
}

inline void log_ldap_info(const char* text) {
  LogMessage(6, "LDAP Client API", text);
}

}  // namespace configapi

#endif  // CONFIGAPI_LDAP_LOG_H_
