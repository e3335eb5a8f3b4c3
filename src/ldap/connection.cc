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
#include <optional>
#include <string>
#include <vector>

#include "ldap/host_list.h"
#include "ldap/log.h"
#include "ldap/probe.h"
#include "ldap/socket_layer.h"

namespace configapi {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

// NOLINTNEXTLINE(cert-err58-cpp): made when it is compiled
constinit milliseconds quiet_interval{30000};

namespace {

// Limits where the LDAP library's configuration has none: on connecting, and
// on the answer to a request.
constexpr milliseconds kNetworkLimit{3000};
constexpr milliseconds kAnswerLimit{30000};

constexpr int kBindSeconds = 360;
constexpr std::size_t kMaxHosts = 63;  // bytes

// What is known of a connection beyond what the LDAP library keeps.
struct Known {
  std::string hosts;
  int port = 0;
  std::size_t host = 0;  // which of the hosts it goes to
  bool bound = false;
  bool is_suspect = false;           // did not answer in time
  steady_clock::time_point since{};  // when the first host was last tried

  [[nodiscard]] bool is_troubled() const { return host != 0 || is_suspect; }
};

// Objects are laid out as hosts were compiled against them, so it is kept
// beside them. Never destroyed: other threads may outlive the end of main().
std::mutex known_lock;
// NOLINTNEXTLINE(cert-err58-cpp): without memory at its start a process ends
auto& known_connections = *new std::map<LDAP*, Known>;  // guarded by known_lock

// Connections to look at before a request: none in most processes.
std::atomic<int> troubled = 0;

Known known(LDAP* ld) {
  const std::lock_guard lock(known_lock);
  const auto found = known_connections.find(ld);
  return found != known_connections.end() ? found->second : Known{};
}

// In place of what is known, if anything.
void remember(LDAP* ld, Known about) {
  const std::lock_guard lock(known_lock);
  Known& present = known_connections[ld];
  troubled += static_cast<int>(about.is_troubled()) -
              static_cast<int>(present.is_troubled());
  present = std::move(about);
}

void forget(LDAP* ld) {
  const std::lock_guard lock(known_lock);
  const auto found = known_connections.find(ld);
  if (found != known_connections.end()) {
    troubled -= static_cast<int>(found->second.is_troubled());
    known_connections.erase(found);
  }
}

struct Unbind {
  void operator()(LDAP* ld) const { ldap_unbind_ext(ld, nullptr, nullptr); }
};
using ConnectionPtr = std::unique_ptr<LDAP, Unbind>;

// What the LDAP library's configuration says, or nothing.
std::optional<milliseconds> configured(int option) {
  timeval* limit = nullptr;
  ldap_get_option(nullptr, option, &limit);
  if (limit == nullptr) {
    return std::nullopt;
  }
  const std::chrono::microseconds rest(limit->tv_usec);
  const auto whole = std::chrono::seconds(limit->tv_sec) +
                     std::chrono::ceil<milliseconds>(rest);
  ldap_memfree(limit);
  constexpr milliseconds kLongest = std::chrono::hours(24);
  return std::min<milliseconds>(whole, kLongest);
}

milliseconds network_limit() {
  return configured(LDAP_OPT_NETWORK_TIMEOUT).value_or(kNetworkLimit);
}

void set_limit(LDAP* ld, int option, milliseconds limit) {
  const timeval value = as_timeval(limit);
  ldap_set_option(ld, option, &value);
}

// Rounded up: a bind is limited in whole seconds.
int seconds_of(milliseconds limit) {
  return static_cast<int>(
      std::chrono::ceil<std::chrono::seconds>(limit).count());
}

// Connects within the limit, each step of it: the name apart, for which the
// system has limits of its own.
ConnectionPtr connect_to(const std::string& uri, milliseconds limit) {
  LDAP* made = nullptr;
  int code =
      uri.empty() ? LDAP_PARAM_ERROR : ldap_initialize(&made, uri.c_str());
  ConnectionPtr ld(made);
  if (code != LDAP_SUCCESS) {
    errno = code == LDAP_NO_MEMORY ? ENOMEM : EINVAL;
    return nullptr;
  }
  const int version = LDAP_VERSION3;
  ldap_set_option(made, LDAP_OPT_PROTOCOL_VERSION, &version);
  // Without it a signal that the host handles ends a wait for the server as if
  // the connection had failed.
  ldap_set_option(made, LDAP_OPT_RESTART, LDAP_OPT_ON);
  // They would be followed without credentials.
  ldap_set_option(made, LDAP_OPT_REFERRALS, LDAP_OPT_OFF);
  set_limit(made, LDAP_OPT_NETWORK_TIMEOUT, limit);
  set_limit(made, LDAP_OPT_TIMEOUT, limit);  // of the answer to StartTLS
  code = connect_within(made, limit, network_limit());
  if (code != LDAP_SUCCESS) {
    const int reason = errno;
    ld.reset();
    errno = reason;
    return nullptr;
  }
  set_limit(made, LDAP_OPT_TIMEOUT,
            configured(LDAP_OPT_TIMEOUT).value_or(kAnswerLimit));
  return ld;
}

// Null, with the reason in errno, where it does not answer. One that is alone
// in its list is taken as it is.
ConnectionPtr open_host(const std::vector<std::string>& hosts, std::size_t host,
                        int port, milliseconds limit) {
  ConnectionPtr ld = connect_to(uri_of(hosts[host], port), limit);
  if (ld != nullptr && hosts.size() > 1 && !answers(ld.get(), limit)) {
    const int reason = errno;
    ld.reset();
    errno = reason;
  }
  return ld;
}

// Hosts from `begin` to `end` are tried in order.
LDAP* open_between(Known about, std::size_t begin, std::size_t end,
                   milliseconds limit) {
  const std::vector<std::string> hosts = host_words(about.hosts);
  errno = EINVAL;
  for (std::size_t i = begin; i < std::min(end, hosts.size()); ++i) {
    ConnectionPtr ld = open_host(hosts, i, about.port, limit);
    if (ld != nullptr) {
      about.host = i;
      about.is_suspect = false;
      about.since = steady_clock::now();
      remember(ld.get(), std::move(about));
      return ld.release();
    }
  }
  return nullptr;
}

LDAP* open_any(const Known& about, milliseconds limit) {
  return open_between(about, 0, about.hosts.size(), limit);
}

// One that answers questions, and yet not every request, is left alone.
LDAP* open_other(const Known& about, milliseconds limit) {
  LDAP* const ld =
      open_between(about, about.host + 1, about.hosts.size(), limit);
  return ld != nullptr ? ld : open_between(about, 0, about.host, limit);
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
bool replace(ldapClient* client, LDAP* fresh, bool bind, milliseconds limit) {
  if (fresh == nullptr) {
    return false;
  }
  if (bind && bind_connection(fresh, client->bindDN, client->bindPassword,
                              seconds_of(limit)) != nullptr) {
    close_connection(fresh);
    return false;
  }
  set_bound(fresh, bind);
  close_connection(client->ld);
  client->ld = fresh;
  client->cacheEnabled = 0;
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

// A lost connection has given everything that it will. A server that ends may
// say so (RFC 4511 section 4.4.1); one that stays may say the same of what it
// passes requests on to.
bool is_lost(LDAP* ld, int error) {
  return error == LDAP_SERVER_DOWN || error == LDAP_CONNECT_ERROR ||
         (error == LDAP_UNAVAILABLE && is_dead(ld));
}

void mark_suspect(LDAP* ld) {
  Known about = known(ld);
  about.is_suspect = true;
  remember(ld, std::move(about));
}

void go_back_to_first(ldapClient* client, Known about, milliseconds limit) {
  if (!replace(client, open_between(about, 0, 1, limit), about.bound, limit)) {
    about.since = steady_clock::now();
    remember(client->ld, std::move(about));
  }
}

// A connection may have been dropped on the way, with neither side told.
void clear_suspicion(ldapClient* client, Known about, milliseconds limit) {
  if (answers(client->ld, limit) ||
      !replace(client, open_any(about, limit), about.bound, limit)) {
    about.is_suspect = false;
    remember(client->ld, std::move(about));
  }
}

void look_after(ldapClient* client, milliseconds limit) {
  Known about = known(client->ld);
  if (about.is_suspect) {
    clear_suspicion(client, std::move(about), limit);
  } else if (about.host != 0 &&
             steady_clock::now() - about.since >= quiet_interval) {
    go_back_to_first(client, std::move(about), limit);
  }
}

milliseconds limit_for(const timeval* own_limit) {
  const milliseconds limit = network_limit();
  if (own_limit == nullptr) {
    return limit;
  }
  const auto own = std::chrono::seconds(own_limit->tv_sec) +
                   std::chrono::ceil<milliseconds>(
                       std::chrono::microseconds(own_limit->tv_usec));
  return std::clamp<milliseconds>(own, milliseconds(1), limit);
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
  return open_any({.hosts = hosts, .port = port}, network_limit());
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
  const auto limit = configured(LDAP_OPT_TIMEOUT);
  return limit ? std::clamp(seconds_of(*limit), 1, kBindSeconds) : kBindSeconds;
}

void set_bound(LDAP* ld, bool bound) {
  const std::lock_guard lock(known_lock);
  const auto found = known_connections.find(ld);
  if (found != known_connections.end()) {
    found->second.bound = bound;
  }
}

void before_request(ldapClient* client, Request request,
                    const timeval* own_limit) try {
  if (client->ld == nullptr) {
    return;
  }
  if (troubled != 0) {
    look_after(client, limit_for(own_limit));
  }
  if (request != Request::kRead && is_dead(client->ld)) {
    const Known about = known(client->ld);
    const milliseconds limit = limit_for(own_limit);
    replace(client, open_any(about, limit),
            about.bound && request != Request::kBind, limit);
  }
} catch (...) {
  // The connection is as it was.
}

bool is_reconnected(ldapClient* client, int error,
                    const timeval* own_limit) try {
  // Another host may answer where this one does not.
  const bool moves_on = error == LDAP_TIMEOUT && own_limit == nullptr;
  if (!moves_on && !is_lost(client->ld, error)) {
    return false;
  }
  const Known about = known(client->ld);
  const milliseconds limit = limit_for(own_limit);
  LDAP* const other =
      moves_on ? open_other(about, limit) : open_any(about, limit);
  return replace(client, other, about.bound, limit);
} catch (...) {
  return false;
}

int after_request(ldapClient* client, int code) try {
  if (code == LDAP_TIMEOUT) {
    mark_suspect(client->ld);
  }
  return code;
} catch (...) {
  return code;
}

}  // namespace configapi
