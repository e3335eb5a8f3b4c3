#include "ldap/socket_layer.h"

#include <lber.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdint>

#include "base/signals_later.h"

namespace configapi {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

// What the calling thread is connecting; callbacks get no argument of ours.
struct Connecting {
  steady_clock::time_point end;
  milliseconds send_limit;
  bool reached;  // the server took the connection
};
thread_local Connecting* connecting = nullptr;

// A layer of the LDAP library's input and output, above the socket and below
// encryption. Its argument is the limit on a write, in milliseconds.

int keep_limit(Sockbuf_IO_Desc* layer, void* limit) {
  layer->sbiod_pvt = limit;
  return 0;
}

int release_nothing(Sockbuf_IO_Desc* /*layer*/) {
  return 0;
}

int control(Sockbuf_IO_Desc* layer, int option, void* arg) {
  return LBER_SBIOD_CTRL_NEXT(layer, option, arg);
}

int descriptor(Sockbuf_IO_Desc* layer) {
  int fd = -1;
  ber_sockbuf_ctrl(layer->sbiod_sb, LBER_SB_OPT_GET_FD, &fd);
  return fd;
}

// False with the reason in errno.
bool wait_for(int fd, short event, steady_clock::time_point end) {
  while (true) {
    const auto left =
        std::chrono::ceil<milliseconds>(end - steady_clock::now());
    pollfd look{fd, event, 0};
    const int ready =
        poll(&look, 1, static_cast<int>(std::max<long long>(left.count(), 0)));
    if (ready > 0) {
      return true;
    }
    if (ready == 0) {
      errno = ETIMEDOUT;
      return false;
    }
    if (errno != EINTR) {
      return false;
    }
  }
}

// While it connects, the LDAP library repeats a handshake that finds nothing to
// read without ever waiting.
ber_slen_t read(Sockbuf_IO_Desc* layer, void* buffer, ber_len_t size) {
  const int fd = descriptor(layer);
  ssize_t taken = recv(fd, buffer, size, MSG_DONTWAIT);
  while (taken < 0 && errno == EAGAIN && connecting != nullptr &&
         wait_for(fd, POLLIN, connecting->end)) {
    taken = recv(fd, buffer, size, MSG_DONTWAIT);
  }
  return taken;
}

ber_slen_t write(Sockbuf_IO_Desc* layer, void* buffer, ber_len_t size) {
  constexpr int kQuietly = MSG_NOSIGNAL | MSG_DONTWAIT;
  const int fd = descriptor(layer);
  ssize_t sent = send(fd, buffer, size, kQuietly);
  if (sent >= 0 || errno != EAGAIN) {
    return sent;
  }
  const milliseconds limit(reinterpret_cast<std::intptr_t>(layer->sbiod_pvt));
  const auto end = steady_clock::now() + limit;
  while (sent < 0 && errno == EAGAIN && wait_for(fd, POLLOUT, end)) {
    sent = send(fd, buffer, size, kQuietly);
  }
  return sent;
}

Sockbuf_IO bounded_io = {keep_limit, release_nothing, control,
                         read,       write,           release_nothing};

int add_layer(LDAP* /*ld*/, Sockbuf* socket, LDAPURLDesc* /*server*/,
              sockaddr* /*address*/, ldap_conncb* /*callbacks*/) {
  constexpr int kAboveSocket = LBER_SBIOD_LEVEL_PROVIDER + 1;
  constexpr milliseconds kUnknown{3000};
  // What a message announces is reserved before the first byte of it has come.
  ber_len_t largest = ber_len_t{16} << 20U;
  ber_sockbuf_ctrl(socket, LBER_SB_OPT_SET_MAX_INCOMING, &largest);
  milliseconds limit = kUnknown;
  if (connecting != nullptr) {
    connecting->reached = true;
    limit = connecting->send_limit;
  }
  return ber_sockbuf_add_io(
      socket, &bounded_io, kAboveSocket,
      // NOLINTNEXTLINE(performance-no-int-to-ptr): a number is all there is
      reinterpret_cast<void*>(static_cast<std::intptr_t>(limit.count())));
}

void keep_layer(LDAP* /*ld*/, Sockbuf* /*socket*/, ldap_conncb* /*callbacks*/) {
}

ldap_conncb on_connect = {add_layer, keep_layer, nullptr};

// Why no socket can be had, or `otherwise`.
int socket_error(int otherwise) {
  const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (fd == -1) {
    return errno;
  }
  close(fd);
  return otherwise;
}

int connect_error(const Connecting& connection, int left) {
  if (steady_clock::now() >= connection.end) {
    return ETIMEDOUT;
  }
  if (connection.reached) {
    return EPROTO;
  }
  // The LDAP library overwrites the reason when it closes a socket that never
  // was connected, or that it never had.
  switch (left) {
    case ENOTCONN:
      return ECONNREFUSED;
    case EBADF:
      return socket_error(left);
    default:
      return left;
  }
}

// Those that the host handles: after each the LDAP library's wait for a
// connection begins anew. What would end the process still does.
sigset_t handled_signals() {
  sigset_t handled;
  sigemptyset(&handled);
  for (int signal = 1; signal < NSIG; ++signal) {
    struct sigaction now {};
    if (sigaction(signal, nullptr, &now) == 0 && now.sa_handler != SIG_DFL &&
        now.sa_handler != SIG_IGN) {
      sigaddset(&handled, signal);
    }
  }
  return handled;
}

}  // namespace

int connect_within(LDAP* ld, milliseconds limit, milliseconds send_limit) {
  if (ldap_set_option(ld, LDAP_OPT_CONNECT_CB, &on_connect) !=
      LDAP_OPT_SUCCESS) {
    errno = ENOMEM;
    return LDAP_NO_MEMORY;
  }
  Connecting connection{steady_clock::now() + limit, send_limit, false};
  int code = LDAP_SUCCESS;
  int left = 0;
  {
    const SignalsLater signals(handled_signals());
    connecting = &connection;
    errno = 0;  // a name that does not resolve leaves it alone
    code = ldap_connect(ld);
    left = errno;
    connecting = nullptr;
  }
  if (code != LDAP_SUCCESS) {
    errno = connect_error(connection, left);
  }
  return code;
}

}  // namespace configapi
