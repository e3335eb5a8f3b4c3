// Profile strings (an entry for each section, an attribute for each key) and
// the functions on names and lists that go with them.

#include <configapi/ldapclient.h>
#include <ldap.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>
#include <string>
#include <string_view>
#include <utility>

#include "base/heap_text.h"
#include "ldap/attr_list.h"
#include "ldap/entries.h"
#include "ldap/escape.h"
#include "ldap/log.h"
#include "ldap/search.h"

namespace configapi {
namespace {

constexpr std::string_view kClass = "qxconfig";
constexpr const char* kSerial = "ConfigSerial";
constexpr std::size_t kMaxFilterNames = 65;  // section and key together
constexpr std::size_t kMaxSection = 1020;

std::string section_dn(std::string_view section) {
  return "cn=" + escape_dn_value(section);
}

char* no_values_found() {
  log_ldap_info("ldapGetProfileString: no values found");
  return nullptr;
}

int write_failed() {
  log_ldap_error("ldapWriteProfileString failed");
  return -1;
}

// A copy of the key's first value in the first entry that the filter finds at
// or below the section's, or null. *rc: see ldapGetProfileString().
char* read_value(ldapClient* client, std::string_view section, const char* key,
                 std::string filter, int* rc) {
  std::string base = section_dn(section);
  SearchCode code{};
  const EntriesPtr entries =
      search(client, {.base = base.data(), .filter = filter.data()}, &code);
  *rc = public_code(code);
  if (entries == nullptr || entries->attrs->value[0] == '\0') {
    return no_values_found();
  }
  const attrval* found = find_attribute(entries->attrs, key);
  if (found == nullptr) {
    return nullptr;
  }
  HeapText value = heap_copy(found->value);
  if (value == nullptr) {
    throw std::bad_alloc();
  }
  return value.release();
}

struct Counter {
  int op;      // what stores it
  long value;  // what this write makes it
};

Counter next_counter(const SearchReq* entries) {
  const attrval* serial =
      entries != nullptr ? find_attribute(entries->attrs, kSerial) : nullptr;
  if (serial == nullptr) {
    return {LDAP_MOD_ADD, 0};
  }
  const long present = std::max(std::strtol(serial->value, nullptr, 10), 0L);
  const bool full = present == std::numeric_limits<long>::max();
  return {LDAP_MOD_REPLACE, full ? present : present + 1};
}

}  // namespace
}  // namespace configapi

// The interface fixes what is const and pointer to const.
// NOLINTBEGIN(readability-make-member-function-const)
// NOLINTBEGIN(readability-non-const-parameter)

char* ldapClient::ldapGetProfileString(char* section, char* key, int* rc) try {
  if (std::strlen(section) + std::strlen(key) > configapi::kMaxFilterNames) {
    *rc = configapi::public_code(configapi::SearchCode::kNotFound);
    return configapi::no_values_found();
  }
  std::string filter;  // stays empty, and so unsent, where it would be another
  if (configapi::is_attribute_name(key)) {
    filter = "(&(cn=" + configapi::escape_filter_value(section) + ")(" + key +
             "=*)(objectclass=qxconfig))";
  }
  return configapi::read_value(this, section, key, std::move(filter), rc);
} catch (...) {
  *rc = configapi::public_code(configapi::SearchCode::kNotFound);
  return configapi::no_values_found();
}

char* ldapClient::ldapGetProfileString(char* section, char* key) try {
  if (std::strlen(section) > configapi::kMaxSection) {
    return configapi::no_values_found();
  }
  int rc = 0;
  return configapi::read_value(this, section, key, "(objectclass=qxconfig)",
                               &rc);
} catch (...) {
  return configapi::no_values_found();
}

int ldapClient::ldapWriteProfileString(char* section, char* key,
                                       char* value) try {
  configapi::AttrList<4> list;
  if (std::strlen(section) > configapi::kMaxSection ||
      !list.append(LDAP_MOD_REPLACE, key, value)) {
    return configapi::write_failed();
  }
  std::string dn = configapi::section_dn(section);
  std::string filter = "cn=" + configapi::escape_filter_value(section);
  configapi::SearchCode found{};
  const configapi::EntriesPtr present =
      configapi::search(this, {.filter = filter.data()}, &found);
  if (found == configapi::SearchCode::kNoAnswer) {
    // There may be a counter all the same; it must not start over.
    return configapi::write_failed();
  }
  const configapi::Counter counter = configapi::next_counter(present.get());
  list.append(counter.op, configapi::kSerial, std::to_string(counter.value));

  int code = ldapClientModify(dn.data(), list.get());
  if (code == LDAP_NO_SUCH_OBJECT) {
    // An add takes each record as an add, whatever its op.
    const bool whole =
        list.append(LDAP_MOD_ADD, "objectclass", configapi::kClass) &&
        list.append(LDAP_MOD_ADD, "cn", section);
    code = whole ? ldapClientAdd(dn.data(), list.get()) : code;
  }
  return code == 0 ? 0 : configapi::write_failed();
} catch (...) {
  return configapi::write_failed();
}

extern "C" char* dn_check(char* text) {
  const std::string_view dn(text);
  const std::size_t equals = dn.find('=');
  const std::size_t comma = dn.find(',');
  const bool has_type = equals != std::string_view::npos && equals < comma;
  const std::size_t start = has_type ? equals + 1 : 0;
  return configapi::heap_copy(dn.substr(0, comma).substr(start)).release();
}

extern "C" char* parse_keyname(char* text) {
  std::string_view name(text);
  name.remove_prefix(std::min(name.find_first_not_of('('), name.size()));
  return configapi::heap_copy(name.substr(0, name.find('='))).release();
}

extern "C" char** get_list(char* text) {
  configapi::HeapPtr<char*> list(
      static_cast<char**>(std::calloc(2, sizeof(char*))));
  if (list == nullptr) {
    return nullptr;
  }
  *list = configapi::heap_copy(text).release();
  return *list != nullptr ? list.release() : nullptr;
}

extern "C" void free_getlist(char** list) {
  if (list == nullptr) {
    return;
  }
  for (char** text = list; *text != nullptr; ++text) {
    std::free(*text);
  }
  std::free(list);
}

// NOLINTEND(readability-non-const-parameter)
// NOLINTEND(readability-make-member-function-const)
