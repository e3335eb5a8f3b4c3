// Owners for what crosses the interface on the C heap.

#ifndef CONFIGAPI_HEAP_TEXT_H_
#define CONFIGAPI_HEAP_TEXT_H_

#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <string_view>

namespace configapi {

// Records and texts that a host receives are released with free().
struct CFree {
  void operator()(void* memory) const { std::free(memory); }
};

template <typename T>
using HeapPtr = std::unique_ptr<T, CFree>;

using HeapText = std::unique_ptr<char[], CFree>;

// An exact-size copy with its terminator, or null when the heap is exhausted.
inline HeapText heap_copy(std::string_view text) {
  auto* copy = static_cast<char*>(std::malloc(text.size() + 1));
  if (copy != nullptr) {
    text.copy(copy, text.size());  // of an empty view, data() is null
    copy[text.size()] = '\0';
  }
  return HeapText(copy);
}

// A record whose bytes are all zero, padding included, or null. Not from
// calloc(): it passes by glibc's per-thread cache and costs several times as
// much.
template <typename T>
HeapPtr<T> heap_record() {
  void* memory = std::malloc(sizeof(T));
  return HeapPtr<T>(memory != nullptr ? new (memory) T() : nullptr);
}

}  // namespace configapi

#endif  // CONFIGAPI_HEAP_TEXT_H_
