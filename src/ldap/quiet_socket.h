// Keeps a server that hangs up from ending the process.

#ifndef CONFIGAPI_QUIET_SOCKET_H_
#define CONFIGAPI_QUIET_SOCKET_H_

#include <ldap.h>

namespace configapi {

// The LDAP library writes to its socket with write(), so a request to a server
// that has reset the connection would raise SIGPIPE. From now on a write on
// this connection just fails. False when memory is out.
bool make_socket_quiet(LDAP* ld);

}  // namespace configapi

#endif  // CONFIGAPI_QUIET_SOCKET_H_
