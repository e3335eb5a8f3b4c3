#include "deadline.h"

#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdio>

#include "base/signals_later.h"

namespace configapi::tool {

Deadline::Deadline(unsigned seconds, const Failure& failure,
                   const Output& output)
    : words_(output.rendered(failure)),
      code_(static_cast<int>(failure.code())) {
  // What was printed so far must not go down with its buffer.
  std::fflush(stdout);
  // Signals are for the thread that works.
  sigset_t all;
  sigfillset(&all);
  const SignalsLater signals(all);
  thread_ = std::thread([this, seconds] { watch(seconds); });
}

Deadline::~Deadline() {
  {
    const std::lock_guard lock(lock_);
    is_met_ = true;
  }
  changed_.notify_one();
  thread_.join();
}

void Deadline::watch(unsigned seconds) {
  std::unique_lock lock(lock_);
  if (changed_.wait_for(lock, std::chrono::seconds(seconds),
                        [this] { return is_met_; })) {
    return;
  }
  if (::write(STDERR_FILENO, words_.data(), words_.size()) < 0) {
    // Nobody listens; the code still tells.
  }
  _exit(code_);
}

}  // namespace configapi::tool
