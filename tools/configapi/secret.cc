#include "secret.h"

#include <lber.h>
#include <malloc.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>

// The heap is the C library's here, which knows the size of a block.
// NOLINTBEGIN(cppcoreguidelines-no-malloc)
namespace {

void wipe_and_free(void* block) {
  if (block != nullptr) {
    explicit_bzero(block, malloc_usable_size(block));
    std::free(block);
  }
}

void* ldap_allocate(ber_len_t size, void* /*context*/) {
  return std::malloc(size);
}

void* ldap_allocate_zeros(ber_len_t count, ber_len_t size, void* /*context*/) {
  return std::calloc(count, size);
}

void ldap_release(void* block, void* /*context*/) {
  wipe_and_free(block);
}

// The block is never given back unwiped, as realloc() would.
void* ldap_resize(void* block, ber_len_t size, void* /*context*/) {
  void* const grown = std::malloc(size);
  if (grown != nullptr && block != nullptr) {
    std::memcpy(grown, block,
                std::min<std::size_t>(size, malloc_usable_size(block)));
    wipe_and_free(block);
  }
  return grown;
}

}  // namespace

void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
  return std::malloc(std::max<std::size_t>(size, 1));
}

void* operator new(std::size_t size) {
  void* const block = operator new(size, std::nothrow);
  if (block == nullptr) {
    throw std::bad_alloc();
  }
  return block;
}

void operator delete(void* block) noexcept {
  wipe_and_free(block);
}

void operator delete(void* block, std::size_t /*size*/) noexcept {
  wipe_and_free(block);
}

void operator delete(void* block, const std::nothrow_t& /*tag*/) noexcept {
  wipe_and_free(block);
}
// NOLINTEND(cppcoreguidelines-no-malloc)

namespace configapi::tool {

void wipe_what_ldap_frees() {
  BerMemoryFunctions functions{ldap_allocate, ldap_allocate_zeros, ldap_resize,
                               ldap_release};
  ber_set_option(nullptr, LBER_OPT_MEMORY_FNS, &functions);
}

}  // namespace configapi::tool
