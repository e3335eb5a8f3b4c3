#include "support/log_capture.h"

#include <configapi/host.h>

#include <cstdio>
#include <mutex>
#include <utility>

namespace {

std::mutex capture_mutex;
bool capturing = false;    // guarded by capture_mutex
test::LogLines log_lines;  // guarded by capture_mutex

}  // namespace

extern "C" void LogMessage(int level, const char* source, const char* text) {
  const std::lock_guard lock(capture_mutex);
  if (capturing) {
    log_lines.push_back(std::to_string(level) + " " + source + ": " + text);
  } else {
    std::fprintf(stderr, "%d %s: %s\n", level, source, text);
  }
}

namespace test {

LogCapture::LogCapture() {
  const std::lock_guard lock(capture_mutex);
  capturing = true;
  log_lines.clear();
}

LogCapture::~LogCapture() {
  const std::lock_guard lock(capture_mutex);
  capturing = false;
}

LogLines LogCapture::take() {
  const std::lock_guard lock(capture_mutex);
  return std::exchange(log_lines, {});
}

}  // namespace test
