// Names and values against the compiled-in table and in the cache. The first
// byte is a buffer's size; the lines are a section, a key and a value.

#include <configapi/config.h>
#include <strings.h>

#include <algorithm>
#include <cstring>

#include "fuzz/target.h"
#include "tools/configapi/address.h"
#include "tools/configapi/nearest.h"

namespace {

using configapi::tool::same_name;
using configapi::tool::Setting;
using fuzz::require;

void look_up_in_table(const char* section, const char* key) {
  constexpr std::size_t kRoom = 30;
  constexpr unsigned long kUntouched = 77;
  const std::unique_ptr<char[]> value(new char[kRoom]());
  unsigned long type = kUntouched;
  const int code = getBufferFromTable(section, key, value.get(), &type);
  const auto known = configapi::tool::settings_of(section);
  const auto slot = std::ranges::find_if(known, [key](const Setting& setting) {
    return same_name(setting.key->key, key);
  });
  require((code == 0) == (slot != known.end()));
  if (code == 0) {
    require(type == slot->key->type && ul2str(type) != nullptr);
    require(std::strcmp(value.get(), slot->key->tableValue) == 0);
  } else {
    require(type == kUntouched && value[0] == '\0');
  }
}

void cache(const char* section, char* key, const char* value,
           std::size_t size) {
  constexpr unsigned kBuckets = 421;
  constexpr unsigned long kType = 12;
  require(get_hash_index(key) < kBuckets);
  const std::unique_ptr<char[]> found(new char[size]());
  unsigned long type = 0;
  require(LookupCache(section, key, found.get(), size, &type) == 1);
  AddCache(section, key, value, kType);
  require(LookupCache(section, key, found.get(), size, &type) == 0);
  require(type == kType);
  if (size > 0) {
    require(std::string_view(value).substr(0, size - 1) == found.get());
  }
  ClearCache();
}

// What was probably meant is near, and exists.
void find_nearest(std::string_view section, std::string_view key) {
  using configapi::tool::typing_distance;
  const std::size_t distance = typing_distance(section, key);
  require(distance == typing_distance(key, section));
  require((distance == 0) == same_name(section, key));
  require(distance >= configapi::tool::length_difference(section, key));
  require(distance <= std::max(section.size(), key.size()));

  const std::string nearest = configapi::tool::nearest_section(section);
  require(nearest.empty() || (!configapi::tool::settings_of(nearest).empty() &&
                              typing_distance(section, nearest) <=
                                  configapi::tool::typing_tolerance(section)));
}

// A word from the command line selects settings, or is refused with a setting
// that exists.
void select(const std::string& word) try {
  const Setting one = configapi::tool::require_one(word);
  require(same_name(address_of(one), word));
} catch (const configapi::tool::Failure& failure) {
  if (!failure.nearest().empty()) {
    require(!configapi::tool::require_settings(failure.nearest()).empty());
  }
  const configapi::tool::Selection selection(word);
  for (const Setting& setting : selection.settings()) {
    require(selection.matches(setting.section, setting.key->key));
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  constexpr std::size_t kLongest = 24;  // of names that take quadratic time
  std::string_view rest = fuzz::view(data, size);
  const std::size_t room = size == 0 ? 0 : data[0];
  rest.remove_prefix(std::min<std::size_t>(1, size));
  const auto section = fuzz::take_line(&rest);
  const auto key = fuzz::take_line(&rest);
  const auto value = fuzz::exact_copy(rest);
  const std::string word = section.get();
  switch (room % 4) {
    case 0:
      select(word.substr(0, kLongest));
      break;
    case 1:
      select((word + "/" + key.get()).substr(0, kLongest));
      break;
    case 2:
      find_nearest(std::string_view(word).substr(0, kLongest),
                   std::string_view(key.get()).substr(0, kLongest));
      break;
    default:
      look_up_in_table(section.get(), key.get());
  }
  cache(section.get(), key.get(), value.get(), room);
  const unsigned long type = str2ul(key.get());
  require(type == 0 || strcasecmp(ul2str(type), key.get()) == 0);
  return 0;
}
