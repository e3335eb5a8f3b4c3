#include <configapi/config.h>
#include <configapi/host.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <span>
#include <string_view>

#include "base/ascii.h"
#include "base/bounded.h"
#include "base/heap_text.h"
#include "config/configcache.h"

namespace configapi {
namespace {

constexpr int kUnknownAddress = 3;
constexpr int kNoValue = 3;
constexpr int kNoMemory = 5;

// Results of a write.
constexpr int kInvalidValue = 1;
constexpr int kNullValue = 2;
constexpr int kTypeNotWritable = 6;

constexpr int kCheckOnly = 1;  // as the flag of a write

constexpr std::array<const char*, 24> kTypeNames = {
    "TYPE_BOOLEAN_TF", "TYPE_BOOLEAN_YN", "TYPE_BOOLEAN_01",
    "TYPE_DATE",       "TYPE_DIRECTORY",  "TYPE_FILENAME",
    "TYPE_FILENAME_N", "TYPE_HOSTNAME",   "TYPE_DOMAINNAME",
    "TYPE_HOSTDOMAIN", "TYPE_IP_ADDRESS", "TYPE_NUMBER",
    "TYPE_NUMBER_NZ",  "TYPE_REAL",       "TYPE_RFC822_ADDRESS",
    "TYPE_STRING",     "TYPE_STRING_N",   "TYPE_STRING_LIST",
    "TYPE_RRQ",        "TYPE_TIME",       "TYPE_LOCALCHARSET",
    "TYPE_TIMEZONE",   "TYPE_VIMCHARSET", "TYPE_OCTET"};

const cfgKey* find_in_section(const cfgSection& section, const char* key) {
  for (const cfgKey& slot : section.keys) {
    if (*slot.key == '\0') {
      break;
    }
    if (same_name(slot.key, key)) {
      return &slot;
    }
  }
  return nullptr;
}

// A section may be spread over several records of the table.
const cfgKey* find_key(const char* section, const char* key) {
  for (const cfgSection* one = cfgTable; *one->name != '\0'; ++one) {
    const cfgKey* slot =
        same_name(one->name, section) ? find_in_section(*one, key) : nullptr;
    if (slot != nullptr) {
      return slot;
    }
  }
  return nullptr;
}

int validate(const char* section, const char* key, char* value) {
  const cfgKey* slot = find_key(section, key);
  return slot != nullptr ? valid8_type(slot->type, value) : kUnknownAddress;
}

// What a write returns for a verdict other than 0.
int write_result(int verdict) {
  constexpr int kNotWritable = 1;
  switch (verdict) {
    case kNotWritable:
      return kTypeNotWritable;
    case kUnknownAddress:
      return kUnknownAddress;
    default:
      return kInvalidValue;
  }
}

}  // namespace
}  // namespace configapi

extern "C" int getBufferFromTable(const char* section, const char* key,
                                  char* dst, unsigned long* type) {
  const cfgKey* slot = configapi::find_key(section, key);
  if (slot == nullptr) {
    return -1;
  }
  std::strcpy(dst, slot->tableValue);  // NOLINT: the caller's room is 30 bytes
  *type = slot->type;
  return 0;
}

extern "C" unsigned long str2ul(char* name) {
  for (std::size_t i = 0; i < configapi::kTypeNames.size(); ++i) {
    if (i + 1 != TYPE_STRING_LIST &&
        configapi::same_name(name, configapi::kTypeNames[i])) {
      return i + 1;
    }
  }
  return 0;
}

extern "C" const char* ul2str(unsigned long code) {
  const bool known = code >= 1 && code <= configapi::kTypeNames.size();
  return known ? configapi::kTypeNames[code - 1] : nullptr;
}

extern "C" const char* ul2strflg(unsigned long flag) {
  switch (flag) {
    case FLAG_SINGLE_VALUE:
      return "FLAG_SINGLE_VALUE";
    case FLAG_MULTIPLE_VALUE:
      return "FLAG_MULTIPLE_VALUE";
    default:
      return nullptr;
  }
}

extern "C" int valid8(char* section, char* key, char* value) {
  return configapi::validate(section, key, value);
}

int cConfig::CONFIGReadData(const char* section, const char* key,
                            const char* source, char* dst, unsigned long size,
                            unsigned long* type) {
  using configapi::copy_cut;
  // A cached text goes through a buffer of our own, since dst stays as it was
  // when that text is empty. Having it first also means that a size which
  // cannot be had is refused before anything else happens.
  const std::span<char> out(dst, size);
  const configapi::HeapText work(
      size != 0 ? static_cast<char*>(std::malloc(size)) : nullptr);
  if (work == nullptr && size != 0) {
    return configapi::kNoMemory;
  }
  const auto cached =
      configapi::lookup_cache(section, key, {work.get(), size}, type);
  if (cached) {
    if (*cached == 0) {
      return configapi::kNoValue;
    }
    copy_cut(out, {work.get(), std::min<std::size_t>(*cached, size - 1)});
    return 0;
  }

  const cfgKey* known = configapi::find_key(section, key);
  if (known != nullptr) {
    *type = known->type;
  }
  if (source == nullptr) {
    if (known == nullptr) {
      return configapi::kNoValue;
    }
    copy_cut(out, known->tableValue);
    return 0;
  }

  // A buffer of the largest value, so that a small dst does not decide what
  // is cached for everybody.
  std::array<char, sizeof(attrval::value)> value{};
  const auto age = configapi::cache_age();
  int status = 0;
  ldapGetConfigString(section, key, value.data(), type, &status);
  if (status != 0) {
    return configapi::kNoValue;
  }
  if (value.front() != '\0') {
    configapi::add_unless_cleared(age, section, key, value.data());
  }
  copy_cut(out, value.data());
  return 0;
}

int cConfig::CONFIGWriteData(const char* section, const char* key, char* value,
                             int flag) {
  if (value == nullptr) {
    return configapi::kNullValue;
  }
  const int verdict = configapi::validate(section, key, value);
  if (verdict != 0) {
    LogMessage(6, "CONFIG API", "invalid data");
    return configapi::write_result(verdict);
  }
  if (flag != configapi::kCheckOnly) {
    ldapWriteConfigString(section, key, value);
    ClearCache();
  }
  return 0;
}

// NOLINTNEXTLINE(readability-convert-member-functions-to-static): interface
int cConfig::CONFIGRefreshCache() {
  return ClearCache();
}
