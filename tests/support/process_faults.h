// Faults of the process that a test runs in: limits, and signals.

#ifndef CONFIGAPI_TESTS_PROCESS_FAULTS_H_
#define CONFIGAPI_TESTS_PROCESS_FAULTS_H_

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <csignal>
#include <ctime>

namespace test {

// A soft limit of the process (RLIMIT_NOFILE and the like) while it lives.
class ProcessLimit {
 public:
  ProcessLimit(__rlimit_resource resource, rlim_t limit) : resource_(resource) {
    EXPECT_EQ(getrlimit(resource_, &before_), 0);
    const rlimit low{limit, before_.rlim_max};
    EXPECT_EQ(setrlimit(resource_, &low), 0);
  }
  ~ProcessLimit() { setrlimit(resource_, &before_); }
  ProcessLimit(const ProcessLimit&) = delete;
  ProcessLimit& operator=(const ProcessLimit&) = delete;
  ProcessLimit(ProcessLimit&&) = delete;
  ProcessLimit& operator=(ProcessLimit&&) = delete;

 private:
  __rlimit_resource resource_;
  rlimit before_{};
};

// No descriptor can be had but the first three, which are taken. (With fewer
// poll() would fail as well.)
struct NoDescriptors : ProcessLimit {
  NoDescriptors() : ProcessLimit(RLIMIT_NOFILE, 3) {}
};

// The number that the next open file gets: whether one was lost.
inline int next_descriptor() {
  const int next = dup(STDIN_FILENO);
  close(next);
  return next;
}

// A signal every 100 microseconds for the thread that makes it, which system
// calls do not survive.
class SignalStorm {
 public:
  SignalStorm() {
    struct sigaction counting {};
    counting.sa_handler = [](int) { count = count + 1; };
    sigaction(SIGUSR1, &counting, &before_);
    count = 0;
    sigevent event{};
    event.sigev_notify = SIGEV_THREAD_ID;
    event.sigev_signo = SIGUSR1;
    event._sigev_un._tid = gettid();
    constexpr timespec kEvery{0, 100000};
    const itimerspec often{kEvery, kEvery};
    EXPECT_EQ(timer_create(CLOCK_MONOTONIC, &event, &timer_), 0);
    EXPECT_EQ(timer_settime(timer_, 0, &often, nullptr), 0);
  }
  ~SignalStorm() {
    timer_delete(timer_);
    EXPECT_GT(count, 0);
    sigaction(SIGUSR1, &before_, nullptr);
  }
  SignalStorm(const SignalStorm&) = delete;
  SignalStorm& operator=(const SignalStorm&) = delete;
  SignalStorm(SignalStorm&&) = delete;
  SignalStorm& operator=(SignalStorm&&) = delete;

 private:
  static inline volatile std::sig_atomic_t count = 0;
  timer_t timer_{};
  struct sigaction before_ {};
};

}  // namespace test

#endif  // CONFIGAPI_TESTS_PROCESS_FAULTS_H_
