// A server on loopback that speaks just enough LDAP to fail in chosen ways.

#ifndef CONFIGAPI_TESTS_STUB_SERVER_H_
#define CONFIGAPI_TESTS_STUB_SERVER_H_

#include <chrono>
#include <condition_variable>
#include <mutex>
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

  // Tells each connection "success" (or "nothing found") for its first
  // `answers` requests, each after the delay.
  StubServer(int answers, Ending ending,
             std::chrono::milliseconds delay = std::chrono::milliseconds(0));
  ~StubServer();
  StubServer(const StubServer&) = delete;
  StubServer& operator=(const StubServer&) = delete;
  StubServer(StubServer&&) = delete;
  StubServer& operator=(StubServer&&) = delete;

  [[nodiscard]] int port() const { return port_; }

  // Returns when a connection has been closed from this side.
  void wait_for_hang_up();

 private:
  void serve();
  void serve_connection(int connection);
  [[nodiscard]] bool readable(int descriptor) const;
  bool answer_request(int connection);
  void hang_up(int connection);

  int answers_;
  Ending ending_;
  std::chrono::milliseconds delay_;
  int listener_;
  int port_ = 0;
  int stop_[2] = {};  // a pipe: what becomes readable when it is over

  std::mutex mutex_;
  std::condition_variable hung_up_;
  bool has_hung_up_ = false;  // guarded by mutex_

  std::thread thread_;
};

}  // namespace test

#endif  // CONFIGAPI_TESTS_STUB_SERVER_H_
