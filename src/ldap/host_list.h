// The host text: what a connection may be made to.

#ifndef CONFIGAPI_LDAP_HOST_LIST_H_
#define CONFIGAPI_LDAP_HOST_LIST_H_

#include <string>
#include <string_view>
#include <vector>

namespace configapi {

inline constexpr int kMaxPort = 65535;

// The text's words, which blanks and tabs part.
std::vector<std::string> host_words(std::string_view text);

// The URI (RFC 4516) of a word, which may be one already; empty for what is
// none. The port is for a word without one.
std::string uri_of(const std::string& host, int port);

}  // namespace configapi

#endif  // CONFIGAPI_LDAP_HOST_LIST_H_
