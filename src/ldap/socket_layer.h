// What stands between the LDAP library and its sockets.

#ifndef CONFIGAPI_SOCKET_LAYER_H_
#define CONFIGAPI_SOCKET_LAYER_H_

#include <ldap.h>

namespace configapi {

// For every socket that the connection opens from now on:
// - A write to a server that has reset the connection just fails. The LDAP
//   library calls write(), which would raise SIGPIPE.
// - A read takes what is there. The LDAP library reads when something has come,
//   and would then wait without a limit for the rest of a message; so it goes
//   back to its own wait, which has one.
// False when memory is out.
bool layer_sockets(LDAP* ld);

}  // namespace configapi

#endif  // CONFIGAPI_SOCKET_LAYER_H_
