#include "ldap/stub_server.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>

namespace test {
namespace {

void check(bool good, const char* what) {
  if (!good) {
    throw std::runtime_error(what);
  }
}

// The answer to a request (RFC 4511 section 4.1.1): its message id, a tag that
// is the request's plus one (deletion's is primitive), and success. Empty for
// requests that have none.
std::string answer_to(std::string_view request) {
  constexpr unsigned char kUnbind = 0x42;
  constexpr unsigned char kAbandon = 0x50;
  constexpr unsigned char kDelete = 0x4a;
  const auto byte = [&](std::size_t i) {
    return static_cast<unsigned char>(request.at(i));
  };
  const std::size_t long_form = byte(1) & 0x80U ? byte(1) & 0x7FU : 0U;
  const std::size_t id = 2 + long_form;
  const std::size_t id_size = 2U + byte(id + 1);
  const unsigned char tag = byte(id + id_size);
  if (tag == kUnbind || tag == kAbandon) {
    return {};
  }
  std::string body(request.substr(id, id_size));
  body += static_cast<char>(tag == kDelete ? 0x6b : tag + 1);
  body += std::string_view("\x07\x0a\x01\0\x04\0\x04\0", 8);
  return std::string("\x30") + static_cast<char>(body.size()) + body;
}

void send_all(int connection, std::string_view bytes) {
  // The client may be gone: that is its own affair.
  (void)send(connection, bytes.data(), bytes.size(), MSG_NOSIGNAL);
}

}  // namespace

StubServer::StubServer(int answers, Ending ending,
                       std::chrono::milliseconds delay)
    : answers_(answers),
      ending_(ending),
      delay_(delay),
      listener_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  auto* const generic = reinterpret_cast<sockaddr*>(&address);
  check(bind(listener_, generic, size) == 0, "bind");
  check(listen(listener_, 8) == 0, "listen");
  check(getsockname(listener_, generic, &size) == 0, "getsockname");
  check(pipe(stop_) == 0, "pipe");
  port_ = ntohs(address.sin_port);
  thread_ = std::thread([this] { serve(); });
}

StubServer::~StubServer() {
  close(stop_[1]);
  thread_.join();
  close(stop_[0]);
  close(listener_);
}

void StubServer::wait_for_hang_up() {
  std::unique_lock lock(mutex_);
  hung_up_.wait(lock, [this] { return has_hung_up_; });
}

// False when it is over.
bool StubServer::readable(int descriptor) const {
  std::array<pollfd, 2> wait{{{descriptor, POLLIN, 0}, {stop_[0], POLLIN, 0}}};
  return poll(wait.data(), wait.size(), -1) > 0 && wait[1].revents == 0;
}

void StubServer::serve() {
  while (readable(listener_)) {
    const int connection = accept(listener_, nullptr, nullptr);
    if (connection >= 0) {
      serve_connection(connection);
    }
  }
}

// False when the client has gone.
bool StubServer::answer_request(int connection) {
  std::array<char, 8192> buffer{};
  const ssize_t size = read(connection, buffer.data(), buffer.size());
  if (size <= 0) {
    return false;
  }
  std::this_thread::sleep_for(delay_);
  send_all(connection,
           answer_to({buffer.data(), static_cast<std::size_t>(size)}));
  return true;
}

void StubServer::serve_connection(int connection) {
  for (int i = 0; i < answers_; ++i) {
    if (!readable(connection) || !answer_request(connection)) {
      close(connection);
      return;
    }
  }
  std::array<char, 8192> ignored{};
  if (ending_ == Ending::kGarbage && readable(connection)) {
    (void)read(connection, ignored.data(), ignored.size());
    send_all(connection, "HTTP/1.0 400 Bad request\r\n\r\n");
  }
  while (ending_ == Ending::kSilence && readable(connection) &&
         read(connection, ignored.data(), ignored.size()) > 0) {
  }
  hang_up(connection);
}

void StubServer::hang_up(int connection) {
  if (ending_ == Ending::kReset) {
    const linger at_once{1, 0};
    setsockopt(connection, SOL_SOCKET, SO_LINGER, &at_once, sizeof at_once);
  }
  close(connection);
  const std::lock_guard lock(mutex_);
  has_hung_up_ = true;
  hung_up_.notify_all();
}

}  // namespace test
