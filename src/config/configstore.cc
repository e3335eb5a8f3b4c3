// Settings in the directory: the entry of a section holds one attribute for
// each key.

#include <configapi/config.h>
#include <configapi/host.h>

#include <array>
#include <cstring>
#include <string>
#include <string_view>

#include "base/ascii.h"
#include "base/bounded.h"
#include "ldap/escape.h"

namespace configapi {
namespace {

constexpr int kReplace = 2;
constexpr int kSubtree = 2;
constexpr int kSearchFailed = 1;
constexpr std::size_t kMaxSection = 94;  // bytes of a section in a filter

void log_nothing_found() {
  LogMessage(6, "LDAP Client API", "ldapClientSearch returned nothing");
}

void log_error(const char* text) {
  LogMessage(1, "CONFIG API", text);
}

// The end record stands for "no values"; so does an empty first value.
bool has_values(const SearchReq* entry) {
  return entry->next != nullptr && entry->attrs->value[0] != '\0';
}

// The last value of the attribute, or null.
const char* last_value(const attrval* attrs, const char* key) {
  const char* found = nullptr;
  for (; attrs->next != nullptr; attrs = attrs->next) {
    if (same_name(attrs->name, key)) {
      found = attrs->value;
    }
  }
  return found;
}

// What could not be read again is not written.
bool fits(const char* section, const char* key, const char* value) {
  return std::strlen(section) <= kMaxSection &&
         std::strlen(key) < sizeof(attrval::name) &&
         std::strlen(value) < sizeof(attrval::value);
}

void set_replace(attrval* record, const char* name, const char* value,
                 attrval* next) {
  record->op = kReplace;
  copy_cut(record->name, name);
  copy_cut(record->value, value);
  record->next = next;
}

}  // namespace
}  // namespace configapi

void cConfig::ldapGetConfigString(const char* section, const char* key,
                                  char* dst, unsigned long* /*type*/,
                                  int* status) try {
  if (std::strlen(section) > configapi::kMaxSection) {
    configapi::log_nothing_found();
    *status = configapi::kSearchFailed;
    return;
  }
  std::string filter = "(cn=" + configapi::escape_filter_value(section) + ")";
  SearchReq* entries =
      ldapClientSearch(nullptr, configapi::kSubtree, 0, filter.data(), status);
  if (entries == nullptr || !configapi::has_values(entries)) {
    srch_free(entries);
    configapi::log_nothing_found();
    return;
  }
  const char* value = configapi::last_value(entries->attrs, key);
  if (value != nullptr) {
    std::memcpy(dst, value, std::strlen(value) + 1);
  }
  srch_free(entries);
} catch (...) {
  configapi::log_nothing_found();
  *status = configapi::kSearchFailed;
}

void cConfig::ldapWriteConfigString(const char* dn, const char* key,
                                    char* value) try {
  if (!configapi::fits(dn, key, value)) {
    configapi::log_error("ldapWriteConfigString failed");
    return;
  }
  std::array<attrval, 3> list{};
  configapi::set_replace(list.data(), "objectclass", "qxconfig", &list[1]);
  configapi::set_replace(&list[1], key, value, &list[2]);

  std::string entry = "cn=" + configapi::escape_dn_value(dn);
  int result = ldapClientModify(entry.data(), list.data());
  if (result != 0) {
    configapi::log_error("ldapClientModify failed");
    result = ldapClientAdd(entry.data(), list.data());
  }
  if (result != 0) {
    configapi::log_error("ldapWriteConfigString failed");
  }
} catch (...) {
  configapi::log_error("ldapWriteConfigString failed");
}
