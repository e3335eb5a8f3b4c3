#include "host.h"

#include <configapi/host.h>
#include <dlfcn.h>

#include <atomic>
#include <cstdlib>
#include <mutex>
#include <utility>

// The line I/O logs under this name.
char appName[] = "configapi";

namespace {

constexpr int kErrorLevel = 1;

std::mutex error_mutex;
std::string last_error;  // guarded by error_mutex

std::atomic<bool> log_shown = std::getenv("CONFIGAPI_LOG_LEVEL") != nullptr;

void keep_error(const char* text) try {
  const std::lock_guard lock(error_mutex);
  last_error = text;
} catch (...) {
  // Out of memory: a failure is explained less well.
}

}  // namespace

// An executable's LogMessage wins over the stand-in library's, which is the
// next one in the search order and still does the writing.
extern "C" void LogMessage(int level, const char* source, const char* text) {
  using Logger = void (*)(int, const char*, const char*);
  static const auto stand_in =
      reinterpret_cast<Logger>(dlsym(RTLD_NEXT, "LogMessage"));
  if (level == kErrorLevel) {
    keep_error(text);
  }
  if (stand_in != nullptr && log_shown) {
    stand_in(level, source, text);
  }
}

namespace configapi::tool {

void show_log() {
  log_shown = true;
}

void hide_log() {
  log_shown = false;
}

std::string take_last_error() {
  const std::lock_guard lock(error_mutex);
  return std::exchange(last_error, {});
}

}  // namespace configapi::tool
