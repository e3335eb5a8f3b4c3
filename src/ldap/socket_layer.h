// What stands between the LDAP library and its sockets.

#ifndef CONFIGAPI_SOCKET_LAYER_H_
#define CONFIGAPI_SOCKET_LAYER_H_

#include <ldap.h>

#include <chrono>

namespace configapi {

// Connects as ldap_connect() does, TLS included, within the limit; no signal
// of the calling thread makes it longer. `send_limit` bounds the wait of every
// later write. Returns an LDAP code; when it is not success, errno tells why:
// ETIMEDOUT, ECONNREFUSED and the like, EPROTO when the server could be reached
// and TLS failed, 0 for a name that does not resolve.
//
// For every socket of the connection, now and later:
// - A write to a server that has reset the connection just fails. The LDAP
//   library calls write(), which would raise SIGPIPE.
// - A read takes what is there. The LDAP library reads when something has come,
//   and would then wait without a limit for the rest of a message; so it goes
//   back to its own wait, which has one.
// - A message that announces more than 16 MiB is an error, and no memory.
// REQUIRES: LDAP_OPT_NETWORK_TIMEOUT is the limit or less.
int connect_within(LDAP* ld, std::chrono::milliseconds limit,
                   std::chrono::milliseconds send_limit);

}  // namespace configapi

#endif  // CONFIGAPI_SOCKET_LAYER_H_
