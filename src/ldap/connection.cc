#include "ldap/connection.h"

#include <configapi/internals.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "ldap/log.h"
#include "ldap/owners.h"
#include "ldap/socket_layer.h"

namespace configapi {

using std::chrono::steady_clock;

std::chrono::milliseconds quiet_interval = std::chrono::seconds(30);

namespace {

// Limits where the LDAP library's configuration has none: on connecting, and
// on the answer to a request.
constexpr timeval kNetworkLimit{3, 0};
constexpr timeval kAnswerLimit{30, 0};

constexpr int kBindSeconds = 360;
constexpr std::size_t kMaxHosts = 63;  // bytes
constexpr int kMaxPort = 65535;

// What is known of a connection beyond what the LDAP library keeps.
struct Known {
  std::string hosts;
  int port = 0;
  bool is_first = true;  // of the hosts
  bool bound = false;
  steady_clock::time_point since{};  // when the first host was last tried
};

// Objects are laid out as hosts were compiled against them, so it is kept
// beside them.
std::mutex known_lock;
std::map<LDAP*, Known> known_connections;  // guarded by known_lock

// Connections to another host than the first: none in most processes, which
// then need not look.
std::atomic<int> elsewhere = 0;

Known known(LDAP* ld) {
  const std::lock_guard lock(known_lock);
  const auto found = known_connections.find(ld);
  return found != known_connections.end() ? found->second : Known{};
}

// In place of what is known, if anything.
void remember(LDAP* ld, Known about) {
  const std::lock_guard lock(known_lock);
  Known& present = known_connections[ld];
  elsewhere +=
      static_cast<int>(present.is_first) - static_cast<int>(about.is_first);
  present = std::move(about);
}

void forget(LDAP* ld) {
  const std::lock_guard lock(known_lock);
  const auto found = known_connections.find(ld);
  if (found != known_connections.end()) {
    elsewhere -= found->second.is_first ? 0 : 1;
    known_connections.erase(found);
  }
}

struct Unbind {
  void operator()(LDAP* ld) const { ldap_unbind_ext(ld, nullptr, nullptr); }
};
using ConnectionPtr = std::unique_ptr<LDAP, Unbind>;

std::vector<std::string> words(std::string_view text) {
  constexpr std::string_view kBlanks = " \t";
  std::vector<std::string> found;
  while (true) {
    text.remove_prefix(std::min(text.find_first_not_of(kBlanks), text.size()));
    if (text.empty()) {
      return found;
    }
    const std::string_view word = text.substr(0, text.find_first_of(kBlanks));
    found.emplace_back(word);
    text.remove_prefix(word.size());
  }
}

// The URI (RFC 4516) of a host, which may be one already. A name or an address
// has nothing in it that would mean more there.
std::string uri_of(const std::string& host, int port) {
  constexpr std::string_view kMeaning = "/?#%";
  if (host.find("://") != std::string::npos) {
    return host;
  }
  if (host.find_first_of(kMeaning) != std::string::npos) {
    return {};
  }
  const auto colons = std::ranges::count(host, ':');
  if (colons > 1 && host.front() != '[') {  // an IPv6 address (RFC 4291)
    return "ldap://[" + host + "]:" + std::to_string(port);
  }
  const std::size_t bracket = host.rfind(']');
  const bool has_port =
      host.rfind(':') != std::string::npos &&
      (bracket == std::string::npos || host.rfind(':') > bracket);
  return "ldap://" + host + (has_port ? "" : ":" + std::to_string(port));
}

struct LimitFree {
  void operator()(timeval* limit) const { ldap_memfree(limit); }
};
using LimitPtr = std::unique_ptr<timeval, LimitFree>;

// Null for a connection (or, with null, for a process) without that limit.
LimitPtr limit_of(LDAP* ld, int option) {
  timeval* limit = nullptr;
  ldap_get_option(ld, option, &limit);
  return LimitPtr(limit);
}

void limit_unless_configured(LDAP* ld, int option, const timeval& limit) {
  if (limit_of(ld, option) == nullptr) {
    ldap_set_option(ld, option, &limit);
  }
}

std::chrono::microseconds network_limit(LDAP* ld) {
  const LimitPtr limit = limit_of(ld, LDAP_OPT_NETWORK_TIMEOUT);
  return std::chrono::seconds(limit->tv_sec) +
         std::chrono::microseconds(limit->tv_usec);
}

void set_options(LDAP* ld) {
  const int version = LDAP_VERSION3;
  ldap_set_option(ld, LDAP_OPT_PROTOCOL_VERSION, &version);
  // Without it a signal that the host handles ends a wait for the server as if
  // the connection had failed.
  ldap_set_option(ld, LDAP_OPT_RESTART, LDAP_OPT_ON);
  // They would be followed without credentials.
  ldap_set_option(ld, LDAP_OPT_REFERRALS, LDAP_OPT_OFF);
  limit_unless_configured(ld, LDAP_OPT_NETWORK_TIMEOUT, kNetworkLimit);
  limit_unless_configured(ld, LDAP_OPT_TIMEOUT, kAnswerLimit);
}

// Why ldap_connect() failed; what it leaves in errno does not always tell.
int connect_error(LDAP* ld, int left, bool late) {
  char* message = nullptr;
  ldap_get_option(ld, LDAP_OPT_DIAGNOSTIC_MESSAGE, &message);
  const bool is_tls = message != nullptr && *message != '\0';
  ldap_memfree(message);
  if (late) {
    return ETIMEDOUT;
  }
  if (is_tls) {  // nothing else leaves a message
    return EPROTO;
  }
  // Closing a socket that never was connected overwrites the reason.
  return left == ENOTCONN ? ECONNREFUSED : left;
}

ConnectionPtr connect_to(const std::string& uri) {
  LDAP* made = nullptr;
  const int code =
      uri.empty() ? LDAP_PARAM_ERROR : ldap_initialize(&made, uri.c_str());
  ConnectionPtr ld(made);
  if (code != LDAP_SUCCESS) {
    errno = code == LDAP_NO_MEMORY ? ENOMEM : EINVAL;
    return nullptr;
  }
  set_options(ld.get());
  if (!layer_sockets(ld.get())) {
    errno = ENOMEM;
    return nullptr;
  }
  const auto start = steady_clock::now();
  errno = 0;  // a name that does not resolve leaves it alone
  if (ldap_connect(ld.get()) != LDAP_SUCCESS) {
    const int left = errno;
    const bool late = steady_clock::now() - start >= network_limit(ld.get());
    const int reason = connect_error(ld.get(), left, late);
    ld.reset();
    errno = reason;
  }
  return ld;
}

// Whether a server that took the connection answers too. Its root entry may be
// asked for by everybody; that it refuses is an answer as well.
bool answers(LDAP* ld) {
  char none[] = LDAP_NO_ATTRS;
  char* attrs[] = {none, nullptr};
  const LimitPtr patience = limit_of(ld, LDAP_OPT_NETWORK_TIMEOUT);
  LDAPMessage* result = nullptr;
  const int code =
      ldap_search_ext_s(ld, "", LDAP_SCOPE_BASE, "(objectClass=*)", attrs, 0,
                        nullptr, nullptr, patience.get(), 1, &result);
  const ResultPtr owner(result);
  errno = code == LDAP_TIMEOUT ? ETIMEDOUT : ECONNRESET;
  return code >= 0;
}

// The first `count` hosts are tried in order.
LDAP* open_first(Known about, std::size_t count) {
  const std::vector<std::string> hosts = words(about.hosts);
  errno = EINVAL;
  for (std::size_t i = 0; i < std::min(count, hosts.size()); ++i) {
    ConnectionPtr ld = connect_to(uri_of(hosts[i], about.port));
    if (ld == nullptr || (hosts.size() > 1 && !answers(ld.get()))) {
      continue;
    }
    about.is_first = i == 0;
    about.since = steady_clock::now();
    remember(ld.get(), std::move(about));
    return ld.release();
  }
  return nullptr;
}

LDAP* open_any(const Known& about) {
  return open_first(about, about.hosts.size());
}

void log_reconnected(LDAP* ld) {
  char* uri = nullptr;
  ldap_get_option(ld, LDAP_OPT_URI, &uri);
  std::array<char, 128> line{};
  (void)std::snprintf(line.data(), line.size(), "reconnected to %s",
                      uri != nullptr ? uri : "the directory");
  ldap_memfree(uri);
  log_ldap_info(line.data());
}

// Puts a connection in the place of the object's, bound as that one was.
bool replace(ldapClient* client, LDAP* fresh, bool bind) {
  if (fresh == nullptr) {
    return false;
  }
  if (bind &&
      bind_connection(fresh, client->bindDN, client->bindPassword,
                      static_cast<int>(kAnswerLimit.tv_sec)) != nullptr) {
    close_connection(fresh);
    return false;
  }
  set_bound(fresh, bind);
  close_connection(client->ld);
  client->ld = fresh;
  log_reconnected(fresh);
  return true;
}

// What libldap has closed has no descriptor. A server that ended has closed
// its side; what it said before that lies unread.
bool is_dead(LDAP* ld) {
  int fd = -1;
  ldap_get_option(ld, LDAP_OPT_DESC, &fd);
  pollfd look{fd, POLLRDHUP, 0};
  return fd < 0 || (poll(&look, 1, 0) > 0 && look.revents != 0);
}

// A lost connection has given everything that it will.
bool is_lost(int error) {
  return error == LDAP_SERVER_DOWN || error == LDAP_CONNECT_ERROR ||
         error == LDAP_UNAVAILABLE;
}

void go_back_to_first(ldapClient* client) {
  Known about = known(client->ld);
  if (about.is_first || steady_clock::now() - about.since < quiet_interval) {
    return;
  }
  if (!replace(client, open_first(about, 1), about.bound)) {
    about.since = steady_clock::now();
    remember(client->ld, std::move(about));
  }
}

}  // namespace

LDAP* open_connection(const char* hosts, int port) try {
  if (std::strlen(hosts) > kMaxHosts) {
    errno = ENAMETOOLONG;
    return nullptr;
  }
  if (port > kMaxPort) {
    errno = EINVAL;
    return nullptr;
  }
  return open_any({.hosts = hosts, .port = port});
} catch (...) {
  errno = ENOMEM;
  return nullptr;
}

void close_connection(LDAP* ld) {
  if (ld != nullptr) {
    forget(ld);
    ldap_unbind_ext(ld, nullptr, nullptr);
  }
}

const char* bind_connection(LDAP* ld, const char* dn, const char* password,
                            int seconds) {
  const int id = ldap_simple_bind(ld, dn, password);
  if (id == -1) {
    return "ldap_bind error";
  }
  switch (wait4result(ld, seconds, id)) {
    case 0:
      return nullptr;
    case -1:
      return "Error on server result";
    case -2:
      return "Timed-out";
    default:
      return "Error on ldap_resul2error";
  }
}

int bind_seconds() {
  const LimitPtr configured = limit_of(nullptr, LDAP_OPT_TIMEOUT);
  return configured != nullptr ? static_cast<int>(std::clamp<long>(
                                     configured->tv_sec, 1, kBindSeconds))
                               : kBindSeconds;
}

void set_bound(LDAP* ld, bool bound) {
  const std::lock_guard lock(known_lock);
  const auto found = known_connections.find(ld);
  if (found != known_connections.end()) {
    found->second.bound = bound;
  }
}

void before_request(ldapClient* client, Request request) try {
  if (client->ld == nullptr) {
    return;
  }
  if (elsewhere != 0) {
    go_back_to_first(client);
  }
  if (request != Request::kRead && is_dead(client->ld)) {
    const Known about = known(client->ld);
    replace(client, open_any(about), about.bound && request != Request::kBind);
  }
} catch (...) {
  // The connection is as it was.
}

bool is_reconnected(ldapClient* client, int error, bool own_limit) try {
  const Known about = known(client->ld);
  // Another host may answer where this one does not.
  const bool stalled =
      error == LDAP_TIMEOUT && !own_limit && words(about.hosts).size() > 1;
  return (is_lost(error) || stalled) &&
         replace(client, open_any(about), about.bound);
} catch (...) {
  return false;
}

}  // namespace configapi
