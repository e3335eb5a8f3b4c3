// A server on loopback that speaks just enough LDAP to fail in chosen ways.

#ifndef CONFIGAPI_TESTS_STUB_SERVER_H_
#define CONFIGAPI_TESTS_STUB_SERVER_H_

#include <atomic>
#include <chrono>
#include <string>
#include <thread>

namespace test {

class StubServer {
 public:
  // What becomes of a connection after its answers.
  enum class Ending {
    kSilence,  // it stays open, and nothing is said
    kClose,    // it is closed
    kReset,    // it is torn down: the next byte that comes is refused
    kGarbage,  // the next request is answered with what is no LDAP, and closed
  };

  // Tells each connection "success" for its first `answers` requests, which
  // bind or delete, each after the delay.
  StubServer(int answers, Ending ending,
             std::chrono::milliseconds delay = std::chrono::milliseconds(0));
  ~StubServer();
  StubServer(const StubServer&) = delete;
  StubServer& operator=(const StubServer&) = delete;
  StubServer(StubServer&&) = delete;
  StubServer& operator=(StubServer&&) = delete;

  [[nodiscard]] int port() const { return port_; }

  // Returns when a connection has been closed from this side.
  void wait_for_hang_up() { hung_up_.wait(false); }

 private:
  void serve(int connection);
  [[nodiscard]] std::string receive(int connection) const;

  int answers_;
  Ending ending_;
  std::chrono::milliseconds delay_;
  int listener_;
  int port_ = 0;
  std::atomic<bool> over_ = false;
  std::atomic<bool> hung_up_ = false;
  std::thread thread_;
};

}  // namespace test

#endif  // CONFIGAPI_TESTS_STUB_SERVER_H_
