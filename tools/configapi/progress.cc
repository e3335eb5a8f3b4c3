#include "progress.h"

#include <unistd.h>

#include <cstdio>

namespace configapi::tool {
namespace {

constexpr std::chrono::milliseconds kPause{100};
constexpr const char* kClearLine = "\r\x1b[K";

}  // namespace

Progress::Progress(Output* output)
    : output_(output),
      enabled_(!output->quiet && ::isatty(STDERR_FILENO) != 0) {
  if (enabled_) {
    output_->before_write = [this] { clear(); };
  }
}

Progress::~Progress() {
  clear();
  output_->before_write = nullptr;
}

bool Progress::is_due() const {
  return enabled_ && Clock::now() >= due_;
}

void Progress::show(const std::string& text) {
  std::fflush(stdout);  // it may be the same terminal
  const std::string line = kClearLine + text;
  std::fwrite(line.data(), 1, line.size(), stderr);
  shown_ = true;
  due_ = Clock::now() + kPause;
}

void Progress::clear() {
  if (std::exchange(shown_, false)) {
    std::fputs(kClearLine, stderr);
  }
}

}  // namespace configapi::tool
