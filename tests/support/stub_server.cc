#include "support/stub_server.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <stdexcept>
#include <string_view>

namespace test {
namespace {

void check(bool good, const char* what) {
  if (!good) {
    throw std::runtime_error(what);
  }
}

// The answer to a short request (RFC 4511 section 4.1.1): its message id, the
// tag of a delete's or a bind's response, and success.
std::string answer_to(const std::string& request) {
  constexpr char kDelete = 0x4a;
  const std::size_t id_size = 2U + static_cast<unsigned char>(request.at(3));
  const bool deletes = request.at(2 + id_size) == kDelete;
  const std::string body = request.substr(2, id_size) +
                           (deletes ? '\x6b' : '\x61') +
                           std::string("\x07\x0a\x01\0\x04\0\x04\0", 8);
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
  // Connections inherit it, so that no wait outlasts the server for long.
  const timeval patience{0, 20000};
  setsockopt(listener_, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
  check(bind(listener_, generic, size) == 0, "bind");
  check(listen(listener_, 8) == 0, "listen");
  check(getsockname(listener_, generic, &size) == 0, "getsockname");
  port_ = ntohs(address.sin_port);
  thread_ = std::thread([this] {
    while (!over_) {
      const int connection = accept(listener_, nullptr, nullptr);
      if (connection >= 0) {
        serve(connection);
      }
    }
  });
}

StubServer::~StubServer() {
  over_ = true;
  thread_.join();
  close(listener_);
}

// Empty when the client has gone, or when it is over.
std::string StubServer::receive(int connection) const {
  std::array<char, 8192> buffer{};
  ssize_t size = -1;
  do {
    size = recv(connection, buffer.data(), buffer.size(), 0);
  } while (size < 0 && (errno == EAGAIN || errno == EINTR) && !over_);
  return {buffer.data(), static_cast<std::size_t>(size < 0 ? 0 : size)};
}

void StubServer::serve(int connection) {
  std::string request;
  for (int i = 0; i < answers_; ++i) {
    request = receive(connection);
    if (!request.empty()) {
      std::this_thread::sleep_for(delay_);
      send_all(connection, answer_to(request));
    }
  }
  if (ending_ == Ending::kGarbage && !receive(connection).empty()) {
    send_all(connection, "HTTP/1.0 400 Bad request\r\n\r\n");
  }
  while (ending_ == Ending::kSilence && !receive(connection).empty()) {
  }
  if (ending_ == Ending::kReset) {
    const linger at_once{1, 0};
    setsockopt(connection, SOL_SOCKET, SO_LINGER, &at_once, sizeof at_once);
  }
  close(connection);
  hung_up_ = true;
  hung_up_.notify_all();
}

}  // namespace test
