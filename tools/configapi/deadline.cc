#include "deadline.h"

#include <unistd.h>

#include <csignal>
#include <cstdio>

namespace configapi::tool {
namespace {

// Set before the alarm is; the handler only reads them.
std::string last_words;
const char* words_begin;
std::size_t words_size;
int last_code;

extern "C" void on_deadline(int /*signal*/) {
  if (::write(STDERR_FILENO, words_begin, words_size) < 0) {
    // Nobody listens; the code still tells.
  }
  _exit(last_code);
}

}  // namespace

Deadline::Deadline(unsigned seconds, const Failure& failure,
                   const Output& output) {
  // What was printed so far must not go down with its buffer.
  std::fflush(stdout);
  last_words = output.rendered(failure);
  words_begin = last_words.data();
  words_size = last_words.size();
  last_code = static_cast<int>(failure.code());
  struct sigaction action {};
  action.sa_handler = on_deadline;
  sigaction(SIGALRM, &action, nullptr);
  sigset_t alarm_only;
  sigemptyset(&alarm_only);
  sigaddset(&alarm_only, SIGALRM);
  sigprocmask(SIG_UNBLOCK, &alarm_only, nullptr);  // masks are inherited
  alarm(seconds);
}

Deadline::~Deadline() {
  alarm(0);
}

}  // namespace configapi::tool
