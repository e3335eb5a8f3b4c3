#include "support/alloc_fault.h"

#include <cstddef>

namespace {

thread_local int allocations_left = 0;  // 0: nothing is to fail
thread_local bool fault_happened = false;

bool fails_now() {
  if (allocations_left == 0 || --allocations_left > 0) {
    return false;
  }
  fault_happened = true;
  return true;
}

}  // namespace

// NOLINTBEGIN(bugprone-reserved-identifier): the names that the linker makes
extern "C" {
void* __real_malloc(std::size_t size);
void* __real_calloc(std::size_t count, std::size_t size);
void* __real_realloc(void* memory, std::size_t size);

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
}
// NOLINTEND(bugprone-reserved-identifier)

namespace test {

AllocFault::AllocFault(int n) {
  fault_happened = false;
  allocations_left = n;
}

AllocFault::~AllocFault() {
  allocations_left = 0;
}

bool AllocFault::happened() {
  return fault_happened;
}

}  // namespace test
