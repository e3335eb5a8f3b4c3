// Keeps a server that hangs up from ending the process.

#ifndef CONFIGAPI_SIGPIPE_BLOCK_H_
#define CONFIGAPI_SIGPIPE_BLOCK_H_

#include <csignal>
#include <ctime>

namespace configapi {

// The LDAP library writes to its socket with write(), so a request to a server
// that has reset the connection raises SIGPIPE. While this lives the calling
// thread does not see one: write() then just fails. A host that blocks the
// signal itself keeps what it has pending.
class SigpipeBlock {
 public:
  SigpipeBlock() {
    sigset_t pending;
    sigpending(&pending);
    if (sigismember(&pending, SIGPIPE) == 1) {
      return;  // already blocked, and one more would not show
    }
    sigemptyset(&sigpipe_);
    sigaddset(&sigpipe_, SIGPIPE);
    active_ = pthread_sigmask(SIG_BLOCK, &sigpipe_, &before_) == 0;
  }

  ~SigpipeBlock() {
    if (!active_) {
      return;
    }
    const timespec at_once{};
    sigtimedwait(&sigpipe_, nullptr, &at_once);
    pthread_sigmask(SIG_SETMASK, &before_, nullptr);
  }

  SigpipeBlock(const SigpipeBlock&) = delete;
  SigpipeBlock& operator=(const SigpipeBlock&) = delete;
  SigpipeBlock(SigpipeBlock&&) = delete;
  SigpipeBlock& operator=(SigpipeBlock&&) = delete;

 private:
  sigset_t sigpipe_{};
  sigset_t before_{};
  bool active_ = false;
};

}  // namespace configapi

#endif  // CONFIGAPI_SIGPIPE_BLOCK_H_
