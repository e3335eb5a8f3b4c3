// Signals that wait.

#ifndef CONFIGAPI_BASE_SIGNALS_LATER_H_
#define CONFIGAPI_BASE_SIGNALS_LATER_H_

#include <csignal>

namespace configapi {

// While it lives, the calling thread is not interrupted by these signals.
class SignalsLater {
 public:
  explicit SignalsLater(const sigset_t& which) {
    pthread_sigmask(SIG_BLOCK, &which, &before_);
  }
  ~SignalsLater() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
  SignalsLater(const SignalsLater&) = delete;
  SignalsLater& operator=(const SignalsLater&) = delete;
  SignalsLater(SignalsLater&&) = delete;
  SignalsLater& operator=(SignalsLater&&) = delete;

 private:
  sigset_t before_{};
};

}  // namespace configapi

#endif  // CONFIGAPI_BASE_SIGNALS_LATER_H_
