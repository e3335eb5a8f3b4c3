// A server on loopback that speaks just enough LDAP to fail in chosen ways.

#ifndef CONFIGAPI_TESTS_STUB_SERVER_H_
#define CONFIGAPI_TESTS_STUB_SERVER_H_

#include <atomic>
#include <chrono>
#include <functional>
#include <string>
#include <thread>

namespace test {

// A BER element of less than 128 bytes, and a message of LDAP (RFC 4511 section
// 4.1.1): what a server's own answers are made of.
std::string ber(char tag, const std::string& contents);
std::string ldap_message(int id, char tag, const std::string& contents);

// The contents of a result (RFC 4511 section 4.1.9), and the answer to a search
// that finds one entry with one value.
std::string ldap_result(int code);
std::string ldap_entry(int id, const std::string& dn, const std::string& type,
                       const std::string& value);

class StubServer {
 public:
  // What becomes of a connection after its answers.
  enum class Ending {
    kSilence,  // it stays open, and nothing is said
    kClose,    // it is closed
    kReset,    // it is torn down: the next byte that comes is refused
    kGarbage,  // the next request is answered with what is no LDAP, and closed
  };

  // What is said to a request with this message id and tag (RFC 4511 appendix
  // B).
  using Answer = std::function<std::string(int id, char asked)>;

  // Tells each connection "success" for its first `answers` requests, each
  // after the delay.
  StubServer(int answers, Ending ending,
             std::chrono::milliseconds delay = std::chrono::milliseconds(0),
             int port = 0);  // 0: a free one
  // The requests behind the first are answered by the function, and the
  // connection stays open.
  StubServer(int answers, Answer later, int port = 0);
  ~StubServer();
  StubServer(const StubServer&) = delete;
  StubServer& operator=(const StubServer&) = delete;
  StubServer(StubServer&&) = delete;
  StubServer& operator=(StubServer&&) = delete;

  [[nodiscard]] int port() const { return port_; }

  // Returns when a connection has been closed from this side.
  void wait_for_hang_up() { hung_up_.wait(false); }

  // How many connections were made, and how many requests came but for
  // unbinds.
  [[nodiscard]] int connections() const { return connections_; }
  [[nodiscard]] int requests() const { return requests_; }

 private:
  void listen_and_serve(int port);
  void serve(int connection);
  [[nodiscard]] std::string receive(int connection);

  int answers_;
  Ending ending_;
  std::chrono::milliseconds delay_;
  int listener_;
  int port_ = 0;
  Answer later_;
  std::atomic<int> connections_ = 0;
  std::atomic<int> requests_ = 0;
  std::atomic<bool> over_ = false;
  std::atomic<bool> hung_up_ = false;
  std::thread thread_;
};

}  // namespace test

#endif  // CONFIGAPI_TESTS_STUB_SERVER_H_
