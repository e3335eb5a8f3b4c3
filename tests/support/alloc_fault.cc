#include "support/alloc_fault.h"

#include <configapi/host.h>

#include <cstddef>
#include <cstdlib>
#include <new>
#include <utility>

namespace {

thread_local bool counting = false;
thread_local int counted = 0;
thread_local int first_to_fail = 0;
thread_local bool goes_on = false;

bool fails_now() {
  if (!counting) {
    return false;
  }
  ++counted;
  return counted == first_to_fail || (goes_on && counted > first_to_fail);
}

// The host's own allocations are neither counted nor failed.
class Pause {
 public:
  Pause() : before_(std::exchange(counting, false)) {}
  ~Pause() { counting = before_; }
  Pause(const Pause&) = delete;
  Pause& operator=(const Pause&) = delete;
  Pause(Pause&&) = delete;
  Pause& operator=(Pause&&) = delete;

 private:
  bool before_;
};

}  // namespace

// NOLINTBEGIN(bugprone-reserved-identifier): the names that the linker makes
extern "C" {
void* __real_malloc(std::size_t size);
void* __real_calloc(std::size_t count, std::size_t size);
void* __real_realloc(void* memory, std::size_t size);
decltype(LogMessage) __real_LogMessage;
decltype(GetPrivateProfileString) __real_GetPrivateProfileString;

// Visible, for the linker also asks them of shared libraries on its line.

[[gnu::visibility("default")]] void* __wrap_malloc(std::size_t size) {
  return fails_now() ? nullptr : __real_malloc(size);
}

[[gnu::visibility("default")]] void* __wrap_calloc(std::size_t count,
                                                   std::size_t size) {
  return fails_now() ? nullptr : __real_calloc(count, size);
}

[[gnu::visibility("default")]] void* __wrap_realloc(void* memory,
                                                    std::size_t size) {
  return fails_now() ? nullptr : __real_realloc(memory, size);
}

[[gnu::visibility("default")]] void __wrap_LogMessage(int level,
                                                      const char* source,
                                                      const char* text) {
  const Pause pause;
  __real_LogMessage(level, source, text);
}

[[gnu::visibility("default")]] unsigned long __wrap_GetPrivateProfileString(
    const char* section, const char* key, const char* value, char* buffer,
    unsigned long size, const char* file) {
  const Pause pause;
  return __real_GetPrivateProfileString(section, key, value, buffer, size,
                                        file);
}
}
// NOLINTEND(bugprone-reserved-identifier)

void* operator new(std::size_t size) {
  void* memory = std::malloc(size);
  if (memory == nullptr) {
    throw std::bad_alloc();
  }
  return memory;
}

void operator delete(void* memory) noexcept {
  std::free(memory);
}

void operator delete(void* memory, std::size_t /*size*/) noexcept {
  std::free(memory);
}

namespace test {

AllocFault::AllocFault(int n, Failing failing) {
  first_to_fail = n;
  goes_on = failing == Failing::kAllFrom;
  counted = 0;
  counting = true;
}

AllocFault::~AllocFault() {
  counting = false;
}

int AllocFault::count() {
  return counted;
}

}  // namespace test
