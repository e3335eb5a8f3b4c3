#include "config/configcache.h"

#include <configapi/config.h>

#include <array>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>
#include <shared_mutex>
#include <string_view>
#include <utility>

#include "base/ascii.h"
#include "base/bounded.h"
#include "base/heap_text.h"
#include "base/sharded_mutex.h"

namespace configapi {
namespace {

constexpr std::size_t kBuckets = 421;

struct cacheEntry {
  char* section;
  char* key;
  char* value;
  unsigned long type;
  cacheEntry* next;
  // Lengths of the three texts: most other entries differ in one of them.
  std::size_t section_length;
  std::size_t key_length;
  std::size_t value_length;
};

void free_entry(cacheEntry* entry) {
  std::free(entry->section);
  std::free(entry->key);
  std::free(entry->value);
  std::free(entry);
}

struct EntryFree {
  void operator()(cacheEntry* entry) const { free_entry(entry); }
};

ShardedMutex cache_mutex;
std::array<cacheEntry*, kBuckets> config_cache;  // guarded by cache_mutex
unsigned long clear_count = 0;                   // guarded by cache_mutex

// The hash decides which lookups hit, so it is part of the contract: it runs
// from the last character to the second and takes bytes as signed.
std::size_t bucket_of(std::string_view key) {
  std::uint32_t hash = 0;
  for (std::size_t i = key.size(); i > 1; --i) {
    const auto byte = static_cast<signed char>(key[i - 1]);
    hash = hash * 32 + static_cast<std::uint32_t>(byte);
  }
  return hash % kBuckets;
}

// Most hosts write a name as the entry has it; letters are folded otherwise.
bool same_text(const char* text, std::string_view other) {
  return std::memcmp(text, other.data(), other.size()) == 0 ||
         same_name(text, other.data());
}

bool is_entry_of(const cacheEntry& entry, std::string_view section,
                 std::string_view key) {
  return entry.key_length == key.size() &&
         entry.section_length == section.size() && same_text(entry.key, key) &&
         same_text(entry.section, section);
}

// The link that points at the address's entry, or the chain's last link.
cacheEntry** find_link(std::string_view section, std::string_view key) {
  cacheEntry** link = &config_cache[bucket_of(key)];
  while (*link != nullptr && !is_entry_of(**link, section, key)) {
    link = &(*link)->next;
  }
  return link;
}

// Complete, or null: an entry never lacks a text.
std::unique_ptr<cacheEntry, EntryFree> new_entry(std::string_view section,
                                                 std::string_view key,
                                                 std::string_view value,
                                                 unsigned long type) {
  std::unique_ptr<cacheEntry, EntryFree> entry(
      heap_record<cacheEntry>().release());
  if (entry == nullptr) {
    return nullptr;
  }
  entry->section = heap_copy(section).release();
  entry->key = heap_copy(key).release();
  entry->value = heap_copy(value).release();
  entry->type = type;
  entry->section_length = section.size();
  entry->key_length = key.size();
  entry->value_length = value.size();
  const bool complete = entry->section != nullptr && entry->key != nullptr &&
                        entry->value != nullptr;
  return complete ? std::move(entry) : nullptr;
}

bool has_value(const cacheEntry& entry, std::string_view value) {
  return entry.value_length == value.size() && same_text(entry.value, value);
}

// Gives the entry another value. Without memory for it the entry goes: what it
// holds is out of date.
void update(cacheEntry** link, std::string_view value, unsigned long type) {
  cacheEntry* entry = *link;
  auto copy = heap_copy(value);
  if (copy == nullptr) {
    *link = entry->next;
    free_entry(entry);
    return;
  }
  std::free(std::exchange(entry->value, copy.release()));
  entry->value_length = value.size();
  entry->type = type;
}

void add_locked(const char* section, const char* key, const char* value,
                unsigned long type) {
  cacheEntry** link = find_link(section, key);
  if (*link == nullptr) {
    *link = new_entry(section, key, value, type).release();
  } else if (!has_value(**link, value)) {
    update(link, value, type);
  }
}

}  // namespace

std::optional<std::size_t> lookup_cache(const char* section, const char* key,
                                        std::span<char> field,
                                        unsigned long* type) {
  const std::string_view wanted_section(section);
  const std::string_view wanted_key(key);
  const std::shared_lock lock(cache_mutex);
  const cacheEntry* entry = *find_link(wanted_section, wanted_key);
  if (entry == nullptr) {
    return std::nullopt;
  }
  copy_cut(field, {entry->value, entry->value_length});
  *type = entry->type;
  return entry->value_length;
}

unsigned long cache_age() {
  const std::shared_lock lock(cache_mutex);
  return clear_count;
}

void add_unless_cleared(unsigned long age, const char* section, const char* key,
                        const char* value) {
  const std::lock_guard lock(cache_mutex);
  if (age == clear_count) {
    add_locked(section, key, value, 0);
  }
}

}  // namespace configapi

using configapi::cache_mutex;
using configapi::config_cache;

// NOLINTNEXTLINE(readability-non-const-parameter): as hosts declare it
extern "C" unsigned int get_hash_index(char* key) {
  return static_cast<unsigned int>(configapi::bucket_of(key));
}

extern "C" int InitCache() {
  const std::lock_guard lock(cache_mutex);
  ++configapi::clear_count;
  config_cache.fill(nullptr);
  return 0;
}

extern "C" int AddCache(const char* section, const char* key, const char* value,
                        unsigned long type) {
  const std::lock_guard lock(cache_mutex);
  configapi::add_locked(section, key, value, type);
  return 0;
}

extern "C" int LookupCache(const char* section, const char* key, char* dst,
                           unsigned long size, unsigned long* type) {
  return configapi::lookup_cache(section, key, {dst, size}, type) ? 0 : 1;
}

extern "C" int ClearCache() {
  const std::lock_guard lock(cache_mutex);
  ++configapi::clear_count;
  for (configapi::cacheEntry*& head : config_cache) {
    while (head != nullptr) {
      configapi::free_entry(std::exchange(head, head->next));
    }
  }
  return 0;
}
