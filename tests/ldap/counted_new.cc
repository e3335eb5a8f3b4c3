// Sends operator new through malloc, so that test::AllocFault counts and fails
// the allocations of the standard library too.

#include <cstddef>
#include <cstdlib>
#include <new>

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
