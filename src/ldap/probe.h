// Whether a server is there, beyond its socket.

#ifndef CONFIGAPI_LDAP_PROBE_H_
#define CONFIGAPI_LDAP_PROBE_H_

#include <ldap.h>
#include <sys/time.h>

#include <chrono>

namespace configapi {

timeval as_timeval(std::chrono::milliseconds limit);

// Whether a server that took the connection answers too. Its root entry may be
// asked for by everybody; that it refuses is an answer as well. Else errno
// tells why.
bool answers(LDAP* ld, std::chrono::milliseconds limit);

}  // namespace configapi

#endif  // CONFIGAPI_LDAP_PROBE_H_
