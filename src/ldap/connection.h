// Connections to the directory: opened with limits on every wait, and replaced
// when their server has gone.

#ifndef CONFIGAPI_LDAP_CONNECTION_H_
#define CONFIGAPI_LDAP_CONNECTION_H_

#include <configapi/ldapclient.h>
#include <ldap.h>
#include <sys/time.h>

#include <chrono>

namespace configapi {

// How long a connection to another host than the first serves before the first
// is tried again.
extern std::chrono::milliseconds quiet_interval;

// A new connection (LDAP version 3) to the first host of the text that can be
// had: see ldapClient::ldapClientConnect(). Null with the reason in errno.
LDAP* open_connection(const char* hosts, int port);

// Closes it; null is allowed.
void close_connection(LDAP* ld);

// Sends a simple bind and waits for the answer, `seconds` at most. Returns
// null, or the log line of its failure.
const char* bind_connection(LDAP* ld, const char* dn, const char* password,
                            int seconds);

// The longest wait for a bind that the host asks for.
int bind_seconds();

// Remembers whether a connection is bound as the object's bindDN, so that one
// in its place will be.
void set_bound(LDAP* ld, bool bound);

enum class Request { kRead, kWrite, kBind };

// To be called before a request. A connection to another host than the first
// goes back to the first, when it is time and that one answers; one that did
// not answer in time is replaced unless it answers now; and one that is found
// dead is replaced, but for a read, which may simply be sent twice. `own_limit`
// is the caller's, or null: every wait for a host is bounded by it, too.
void before_request(ldapClient* client, Request request,
                    const timeval* own_limit = nullptr);

// To be called with the code of a request, which it returns.
int after_request(ldapClient* client, int code);

// Whether a read's error came from a connection that is lost, or from a host
// that did not answer where there are others, and a new connection stands in
// its place: the read may be sent again, once.
bool is_reconnected(ldapClient* client, int error,
                    const timeval* own_limit = nullptr);

}  // namespace configapi

#endif  // CONFIGAPI_LDAP_CONNECTION_H_
