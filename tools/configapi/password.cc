#include "password.h"

#include <fcntl.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstring>
#include <string_view>
#include <utility>
#include <vector>

#include "failure.h"
#include "file_descriptor.h"

namespace configapi::tool {
namespace {

// Longer than any password that a bind carries; a wrong file ends early.
constexpr std::size_t kMaxPasswordFile = 4096;

// On the heap, which is wiped (secret.h).
using Bytes = std::vector<char>;

void drop_line_feed(Bytes* bytes) {
  if (!bytes->empty() && bytes->back() == '\n') {
    bytes->pop_back();
  }
}

Failure cannot_read(const std::string& name) {
  return {ExitCode::kFile,
          "cannot read the password from " + name + ": " + strerror(errno)};
}

Bytes read_all(int fd, const std::string& name) {
  Bytes bytes(kMaxPasswordFile + 1);
  std::size_t size = 0;
  while (size < bytes.size()) {
    const ssize_t got = ::read(fd, &bytes[size], bytes.size() - size);
    if (got < 0) {
      throw cannot_read(name);
    }
    if (got == 0) {
      bytes.resize(size);
      return bytes;
    }
    size += static_cast<std::size_t>(got);
  }
  throw Failure(ExitCode::kFile, name + " is no password file: too long");
}

volatile std::sig_atomic_t interrupted_by;

extern "C" void on_interrupt(int signal) {
  interrupted_by = signal;
}

// A signal that ends the tool must not leave the terminal without echo: while
// this lives it only ends a wait, and comes into its own afterwards. Outside of
// a wait it is blocked, or one that comes just before would be missed.
class HeldSignals {
 public:
  HeldSignals() {
    interrupted_by = 0;
    sigset_t held{};
    sigemptyset(&held);
    struct sigaction action {};
    action.sa_handler = on_interrupt;
    for (std::size_t i = 0; i < kSignals.size(); ++i) {
      sigaddset(&held, kSignals[i]);
      sigaction(kSignals[i], &action, &old_[i]);
    }
    sigprocmask(SIG_BLOCK, &held, &old_mask_);
  }
  ~HeldSignals() {
    for (std::size_t i = 0; i < kSignals.size(); ++i) {
      sigaction(kSignals[i], &old_[i], nullptr);
    }
    sigprocmask(SIG_SETMASK, &old_mask_, nullptr);
    if (interrupted_by != 0) {
      ::raise(interrupted_by);
    }
  }
  HeldSignals(const HeldSignals&) = delete;
  HeldSignals& operator=(const HeldSignals&) = delete;
  HeldSignals(HeldSignals&&) = delete;
  HeldSignals& operator=(HeldSignals&&) = delete;

  // Waits for something to read; false when a signal came first.
  [[nodiscard]] bool wait_readable(int fd) const {
    pollfd input{fd, POLLIN, 0};
    return ppoll(&input, 1, nullptr, &old_mask_) > 0;
  }

 private:
  static constexpr std::array kSignals = {SIGHUP, SIGINT, SIGQUIT, SIGTERM};
  std::array<struct sigaction, kSignals.size()> old_{};
  sigset_t old_mask_{};
};

class EchoOff {
 public:
  explicit EchoOff(int fd) : fd_(fd), known_(tcgetattr(fd, &old_) == 0) {
    termios silent = old_;
    silent.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    silent.c_lflag |= ECHONL;
    if (known_) {
      tcsetattr(fd_, TCSAFLUSH, &silent);
    }
  }
  ~EchoOff() {
    if (known_) {
      tcsetattr(fd_, TCSAFLUSH, &old_);
    }
  }
  EchoOff(const EchoOff&) = delete;
  EchoOff& operator=(const EchoOff&) = delete;
  EchoOff(EchoOff&&) = delete;
  EchoOff& operator=(EchoOff&&) = delete;

 private:
  int fd_;
  termios old_{};
  bool known_;
};

Bytes ask(int terminal, std::string_view prompt) {
  const HeldSignals signals;
  const EchoOff silence(terminal);
  Bytes line(kMaxPasswordFile);
  const bool ready = ::write(terminal, prompt.data(), prompt.size()) > 0 &&
                     signals.wait_readable(terminal);
  const ssize_t got = ready ? ::read(terminal, line.data(), line.size()) : -1;
  if (got < 0) {
    throw cannot_read("the terminal");
  }
  line.resize(static_cast<std::size_t>(got));
  return line;
}

FileDescriptor open_terminal() {
  return FileDescriptor(::open("/dev/tty", O_RDWR | O_CLOEXEC | O_NOCTTY));
}

Bytes read_raw(const std::string& file) {
  const bool from_terminal = file == "-";
  const FileDescriptor fd =
      from_terminal
          ? open_terminal()
          : FileDescriptor(::open(file.c_str(), O_RDONLY | O_CLOEXEC));
  const std::string name = from_terminal ? "the terminal" : file;
  if (!fd) {
    throw cannot_read(name);
  }
  return from_terminal ? ask(fd.get(), "Password: ") : read_all(fd.get(), name);
}

// One byte at a time: what lies behind the line is for the next to read.
std::string read_line(int fd, const std::string& name) {
  std::string line;
  line.reserve(kMaxPasswordFile + 1);  // so that it lies on the heap
  for (char byte = 0; line.size() <= kMaxPasswordFile;) {
    const ssize_t got = ::read(fd, &byte, 1);
    if (got < 0 && errno != EINTR) {
      throw cannot_read(name);
    }
    if (got == 0 && line.empty()) {
      break;
    }
    if (got == 0 || (got > 0 && byte == '\n')) {
      return line;
    }
    line.append(got > 0 ? 1 : 0, byte);
  }
  throw Failure(ExitCode::kFile,
                "no value of " + name + " in a line of standard input");
}

}  // namespace

Secret read_password(const std::string& file) {
  Bytes password = read_raw(file);
  drop_line_feed(&password);
  if (password.empty() ||
      std::find(password.begin(), password.end(), '\0') != password.end()) {
    throw Failure(ExitCode::kFile,
                  "a password is neither empty nor does it hold a NUL byte");
  }
  return Secret(std::move(password));
}

std::string read_secret(const std::string& name) {
  if (::isatty(STDIN_FILENO) == 0) {
    return read_line(STDIN_FILENO, name);
  }
  const FileDescriptor terminal = open_terminal();
  if (!terminal) {
    throw cannot_read("the terminal");
  }
  Bytes typed = ask(terminal.get(), name + ": ");
  drop_line_feed(&typed);
  std::string value;
  value.reserve(kMaxPasswordFile);
  return value.assign(typed.begin(), typed.end());
}

}  // namespace configapi::tool
