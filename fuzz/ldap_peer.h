// The far side of a client's connection, in the same thread: its answers lie
// ready before the client asks, and what was asked is read when it is done.

#ifndef CONFIGAPI_FUZZ_LDAP_PEER_H_
#define CONFIGAPI_FUZZ_LDAP_PEER_H_

#include <configapi/ldapclient.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <string>
#include <string_view>

#include "fuzz/target.h"

namespace fuzz {

// BER elements (X.690 section 8.1) with tags of one byte.
namespace ber {

constexpr char kInteger = 0x02;
constexpr char kText = 0x04;
constexpr char kEnum = 0x0a;
constexpr char kSequence = 0x30;
constexpr char kSet = 0x31;

// Of LDAP messages (RFC 4511 appendix B).
constexpr char kSearch = 0x63;
constexpr char kEntry = 0x64;
constexpr char kSearchDone = 0x65;
constexpr char kModify = 0x66;
constexpr char kModified = 0x67;
constexpr char kAdd = 0x68;
constexpr char kAdded = 0x69;
constexpr char kAnd = '\xa0';
constexpr char kEquality = '\xa3';
constexpr char kPresent = '\x87';

inline std::string element(char tag, std::string_view content) {
  const std::size_t size = content.size();
  std::string bytes = {tag, '\x83', static_cast<char>(size >> 16U),
                       static_cast<char>(size >> 8U), static_cast<char>(size)};
  return bytes.append(content);
}

inline std::string number(char tag, int value) {
  return element(tag, std::string(1, static_cast<char>(value)));
}

inline std::string message(int id, const std::string& operation) {
  return element(kSequence, number(kInteger, id) + operation);
}

inline std::string result(int id, char tag, int code = 0) {
  const std::string none = element(kText, {});
  return message(id, element(tag, number(kEnum, code) + none + none));
}

// Takes the element that is to stand in front of the bytes, and its tag off.
inline std::string_view take(char tag, std::string_view* bytes) {
  require(bytes->size() >= 2 && bytes->front() == tag);
  std::size_t size = static_cast<unsigned char>((*bytes)[1]);
  bytes->remove_prefix(2);
  if (size > 0x7f) {
    const std::size_t count = size - 0x80;
    require(bytes->size() >= count);
    size = 0;
    for (std::size_t i = 0; i < count; ++i) {
      size = size << 8U | static_cast<unsigned char>((*bytes)[i]);
    }
    bytes->remove_prefix(count);
  }
  require(bytes->size() >= size);
  const std::string_view content = bytes->substr(0, size);
  bytes->remove_prefix(size);
  return content;
}

}  // namespace ber

class Peer {
 public:
  // Connects the client. Once it is done, nobody else can be reached: a lost
  // connection stays lost.
  explicit Peer(ldapClient* client) {
    const std::string name = "configapi-fuzz-" + std::to_string(getpid());
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    ("/tmp/" + name).copy(address.sun_path, sizeof address.sun_path - 1);
    unlink(address.sun_path);
    const int listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    require(bind(listener, reinterpret_cast<sockaddr*>(&address),
                 sizeof address) == 0);
    require(listen(listener, 1) == 0);
    const auto host = exact_copy("ldapi://%2Ftmp%2F" + name);
    require(client->ldapClientConnect(host.get(), 0) == 0);
    connection_ = accept(listener, nullptr, nullptr);
    require(connection_ >= 0);
    close(listener);
    unlink(address.sun_path);
  }
  ~Peer() { close(connection_); }
  Peer(const Peer&) = delete;
  Peer& operator=(const Peer&) = delete;
  Peer(Peer&&) = delete;
  Peer& operator=(Peer&&) = delete;

  // What has no room on the way stays unsaid: nobody reads yet.
  void say(std::string_view bytes) const {
    (void)send(connection_, bytes.data(), bytes.size(),
               MSG_DONTWAIT | MSG_NOSIGNAL);
  }
  void hang_up() const { shutdown(connection_, SHUT_WR); }

  // All that the client has sent since.
  [[nodiscard]] std::string heard() const {
    std::string all;
    std::array<char, 4096> block{};
    for (;;) {
      const ssize_t size =
          recv(connection_, block.data(), block.size(), MSG_DONTWAIT);
      if (size <= 0) {
        return all;
      }
      all.append(block.data(), static_cast<std::size_t>(size));
    }
  }

 private:
  int connection_;
};

}  // namespace fuzz

#endif  // CONFIGAPI_FUZZ_LDAP_PEER_H_
