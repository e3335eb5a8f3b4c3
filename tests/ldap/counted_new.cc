#include "ldap/counted_new.h"

#include <cstddef>
#include <cstdlib>
#include <new>

namespace {

thread_local bool uncounted = false;

}  // namespace

// The linker's name for the malloc that --wrap=malloc hides.
// NOLINTNEXTLINE(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)
extern "C" void* __real_malloc(std::size_t size);

void* operator new(std::size_t size) {
  void* memory = uncounted ? __real_malloc(size) : std::malloc(size);
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

Uncounted::Uncounted() : before_(uncounted) {
  uncounted = true;
}

Uncounted::~Uncounted() {
  uncounted = before_;
}

}  // namespace test
