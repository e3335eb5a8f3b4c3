// The cache as the read call uses it.

#ifndef CONFIGAPI_CONFIGCACHE_H_
#define CONFIGAPI_CONFIGCACHE_H_

#include <cstddef>
#include <optional>
#include <span>

namespace configapi {

// LookupCache() that also tells how long the whole value is, which a small
// field does not show. No value: there is no entry, nothing was written.
std::optional<std::size_t> lookup_cache(const char* section, const char* key,
                                        std::span<char> field,
                                        unsigned long* type);

// How often the cache has been cleared.
unsigned long cache_age();

// Adds a value with type 0, unless the cache was cleared since its age was
// `age`: what a directory read brings home must not outlive the write that
// another thread made meanwhile.
void add_unless_cleared(unsigned long age, const char* section, const char* key,
                        const char* value);

}  // namespace configapi

#endif  // CONFIGAPI_CONFIGCACHE_H_
