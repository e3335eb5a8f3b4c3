#include "support/stub_server.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string_view>
#include <utility>

namespace test {
namespace {

void check(bool good, const char* what) {
  if (!good) {
    throw std::runtime_error(what);
  }
}

// Tags of requests (RFC 4511 appendix B). The last response's is the next one,
// but for two.
constexpr char kUnbind = 0x42;
constexpr char kDelete = 0x4a;
constexpr char kDeleted = 0x6b;
constexpr char kSearch = 0x63;
constexpr char kSearchDone = 0x65;

// Of a short request with a short message id (RFC 4511 section 4.1.1).
char operation(const std::string& request) {
  return request.at(5);
}

// Its message id, the tag of its response, and success.
std::string answer_to(const std::string& request) {
  const char asked = operation(request);
  const char tag = asked == kDelete   ? kDeleted
                   : asked == kSearch ? kSearchDone
                                      : static_cast<char>(asked + 1);
  return "\x30\x0c" + request.substr(2, 3) + tag +
         std::string("\x07\x0a\x01\0\x04\0\x04\0", 8);
}

void send_all(int connection, std::string_view bytes) {
  // The client may be gone: that is its own affair.
  (void)send(connection, bytes.data(), bytes.size(), MSG_NOSIGNAL);
}

}  // namespace

std::string ber(char tag, const std::string& contents) {
  return tag + (static_cast<char>(contents.size()) + contents);
}

std::string ldap_message(int id, char tag, const std::string& contents) {
  const std::string number(1, static_cast<char>(id));
  return ber('\x30', ber('\x02', number) + ber(tag, contents));
}

std::string ldap_result(int code) {
  return ber('\x0a', std::string(1, static_cast<char>(code))) +
         ber('\x04', "") + ber('\x04', "");
}

std::string ldap_entry(int id, const std::string& dn, const std::string& type,
                       const std::string& value) {
  constexpr char kEntry = 0x64;
  const std::string values = ber('\x31', ber('\x04', value));
  const std::string attribute = ber('\x30', ber('\x04', type) + values);
  return ldap_message(id, kEntry, ber('\x04', dn) + ber('\x30', attribute)) +
         ldap_message(id, kSearchDone, ldap_result(0));
}

StubServer::StubServer(int answers, Ending ending,
                       std::chrono::milliseconds delay, int port)
    : answers_(answers),
      ending_(ending),
      delay_(delay),
      listener_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
  listen_and_serve(port);
}

StubServer::StubServer(int answers, Answer later, int port)
    : answers_(answers),
      ending_(Ending::kSilence),
      delay_(0),
      listener_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)),
      later_(std::move(later)) {
  listen_and_serve(port);
}

void StubServer::listen_and_serve(int port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<std::uint16_t>(port));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  auto* const generic = reinterpret_cast<sockaddr*>(&address);
  // Connections inherit it, so that no wait outlasts the server for long.
  const timeval patience{0, 20000};
  setsockopt(listener_, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
  const int reuse = 1;
  setsockopt(listener_, SOL_SOCKET, SO_REUSEADDR, &reuse, sizeof reuse);
  check(bind(listener_, generic, size) == 0, "bind");
  check(listen(listener_, 8) == 0, "listen");
  check(getsockname(listener_, generic, &size) == 0, "getsockname");
  port_ = ntohs(address.sin_port);
  thread_ = std::thread([this] {
    while (!over_) {
      const int connection = accept(listener_, nullptr, nullptr);
      if (connection >= 0) {
        ++connections_;
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
std::string StubServer::receive(int connection) {
  std::array<char, 8192> buffer{};
  ssize_t size = -1;
  do {
    size = recv(connection, buffer.data(), buffer.size(), 0);
  } while (size < 0 && (errno == EAGAIN || errno == EINTR) && !over_);
  std::string request(buffer.data(),
                      static_cast<std::size_t>(size < 0 ? 0 : size));
  requests_ += !request.empty() && operation(request) != kUnbind ? 1 : 0;
  return request;
}

void StubServer::serve(int connection) {
  std::string request;
  for (int i = 0; i < answers_; ++i) {
    request = receive(connection);
    if (request.empty()) {
      break;
    }
    std::this_thread::sleep_for(delay_);
    send_all(connection, answer_to(request));
  }
  if (ending_ == Ending::kGarbage && !receive(connection).empty()) {
    send_all(connection, "HTTP/1.0 400 Bad request\r\n\r\n");
  }
  while (ending_ == Ending::kSilence && !over_ &&
         !(request = receive(connection)).empty()) {
    if (later_ != nullptr) {
      send_all(connection, later_(request.at(4), operation(request)));
    }
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
