#include <configapi/internals.h>
#include <configapi/ldapclient.h>
#include <ldap.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <span>
#include <string>
#include <type_traits>

#include "base/bounded.h"
#include "base/heap_text.h"
#include "ldap/attr_list.h"
#include "ldap/connection.h"
#include "ldap/entries.h"
#include "ldap/log.h"
#include "ldap/modlist.h"
#include "ldap/owners.h"
#include "ldap/search.h"

// Hosts are compiled against these records. On 32-bit x86 a pointer aligns at
// four bytes, and no field has padding in front of it.
static_assert(std::is_standard_layout_v<ldapClient>);
static_assert(offsetof(attrval, name) == 4 && offsetof(attrval, value) == 68);
static_assert(offsetof(SearchReq, attrs) == 256);
static_assert(offsetof(ldapClient, bindPassword) == 64);
static_assert(offsetof(ldapClient, ld) == 128);
static_assert(offsetof(attrval, next) == (sizeof(void*) == 4 ? 580 : 584));
static_assert(sizeof(attrval) == (sizeof(void*) == 4 ? 584 : 592));
static_assert(offsetof(SearchReq, next) == 256 + sizeof(void*));
static_assert(sizeof(SearchReq) == 256 + 2 * sizeof(void*));
static_assert(offsetof(ldapClient, cacheEnabled) == 128 + sizeof(void*));
static_assert(sizeof(ldapClient) == (sizeof(void*) == 4 ? 136 : 144));

namespace configapi {
namespace {

constexpr int kSessionFailed = 4;  // connect and bind
constexpr int kFailed = -1;        // updates and compare

#ifdef CONFIGAPI_HAVE_LDAP_ENABLE_CACHE
constexpr long kCacheSeconds = 100;
constexpr long kCacheBytes = 4000;
#endif

bool enable_cache([[maybe_unused]] LDAP* ld) {
#ifdef CONFIGAPI_HAVE_LDAP_ENABLE_CACHE
  return ldap_enable_cache(ld, kCacheSeconds, kCacheBytes) == 0;
#else
  return false;  // this LDAP library has no cache of its own
#endif
}

bool fits(std::span<const char> field, const char* text) {
  return text == nullptr || std::strlen(text) < field.size();
}

// Without both, a bind is anonymous (RFC 4513 section 5.1).
bool has_text(const char* text) {
  return text != nullptr && *text != '\0';
}

// Keeps a text for which fits() holds. It may be the field's own: a host binds
// again with what the object remembers.
template <std::size_t kSize>
void remember(char (&field)[kSize], const char* text) {
  if (text == nullptr) {
    return;
  }
  std::array<char, kSize> copy{};
  copy_cut(copy, text);
  std::memcpy(field, copy.data(), kSize);
}

// A v3 server does not let a modify take the naming value away; the rename
// itself exchanges the values there (RFC 4511 section 4.9).
bool leaves_naming_to_rename(int code) {
  return code == LDAP_NAMING_VIOLATION || code == LDAP_NOT_ALLOWED_ON_RDN;
}

int rename_failed(const char* line) {
  log_ldap_error(line);
  return kFailed;
}

}  // namespace
}  // namespace configapi

using configapi::Request;
using configapi::SearchCode;

extern "C" int wait4result(LDAP* ld, int seconds, int msgid) {
  timeval limit{seconds, 0};
  LDAPMessage* result = nullptr;
  const int type = ldap_result(ld, msgid, LDAP_MSG_ONE, &limit, &result);
  if (type == -1) {
    return -1;
  }
  if (type == 0) {
    ldap_abandon(ld, msgid);
    return -2;
  }
  return ldap_result2error(ld, result, 1) == LDAP_SUCCESS ? 0 : -3;
}

ldapClient::ldapClient() = default;

// The interface fixes what is const, static and pointer to const.
// NOLINTBEGIN(readability-make-member-function-const)
// NOLINTBEGIN(readability-convert-member-functions-to-static)
// NOLINTBEGIN(readability-non-const-parameter)

int ldapClient::ldapClientConnect(char* host, int port) {
  ldapClientUnbind();
  ld = configapi::open_connection(host != nullptr ? host : "localhost",
                                  port > 0 ? port : LDAP_PORT);
  if (ld == nullptr) {
    std::array<char, 64> line{};
    (void)std::snprintf(line.data(), line.size(), "ldap_open error: errno=%d",
                        errno);
    configapi::log_ldap_error(line.data());
    return configapi::kSessionFailed;
  }
  cacheEnabled = configapi::enable_cache(ld) ? 1 : 0;
  return 0;
}

int ldapClient::ldapClientBind(char* dn, char* password) {
  const char* failure = "ldap_bind error";
  if (ld != nullptr && configapi::fits(bindDN, dn) &&
      configapi::fits(bindPassword, password)) {
    configapi::before_request(this, Request::kBind);
    failure =
        configapi::bind_connection(ld, dn, password, configapi::bind_seconds());
  }
  if (failure != nullptr) {
    ldapClientUnbind();
    configapi::log_ldap_error(failure);
    return configapi::kSessionFailed;
  }
  configapi::remember(bindDN, dn);
  configapi::remember(bindPassword, password);
  configapi::set_bound(
      ld, configapi::has_text(dn) && configapi::has_text(password));
  return 0;
}

void ldapClient::ldapClientUnbind() {
  configapi::close_connection(ld);
  ld = nullptr;
}

SearchReq* ldapClient::ldapClientSearch(char* base, int scope, int option,
                                        char* filter, int* rc) {
  char** const all = nullptr;
  timeval* const unlimited = nullptr;
  return ldapClientSearch(base, scope, option, filter, all, unlimited, rc);
}

SearchReq* ldapClient::ldapClientSearch(char* base, int scope, int option,
                                        char* filter, timeval* timeout,
                                        int* rc) {
  char** const all = nullptr;
  return ldapClientSearch(base, scope, option, filter, all, timeout, rc);
}

SearchReq* ldapClient::ldapClientSearch(char* base, int scope, int option,
                                        char* filter, char** attrs, int* rc) {
  timeval* const unlimited = nullptr;
  return ldapClientSearch(base, scope, option, filter, attrs, unlimited, rc);
}

SearchReq* ldapClient::ldapClientSearch(char* base, int scope, int option,
                                        char* filter, char** attrs,
                                        timeval* timeout, int* rc) {
  SearchCode code{};
  configapi::EntriesPtr entries = configapi::search(
      this, {base, scope, option, filter, attrs, timeout}, &code);
  *rc = configapi::public_code(code);
  return entries.release();
}

int ldapClient::ldapClientAdd(char* dn, attrval* list) {
  const configapi::ModsPtr mods = configapi::get_addlist(list);
  configapi::before_request(this, Request::kWrite);
  if (ld == nullptr || mods == nullptr ||
      configapi::after_request(this, ldap_add_s(ld, dn, mods.get())) !=
          LDAP_SUCCESS) {
    configapi::log_ldap_error("ldap_add operation failed");
    return configapi::kFailed;
  }
  return 0;
}

int ldapClient::ldapClientModify(char* dn, attrval* list) {
  constexpr int kOwnOperations = -1;
  const configapi::ModsPtr mods(get_modlist(list, kOwnOperations));
  configapi::before_request(this, Request::kWrite);
  const int code =
      ld != nullptr && mods != nullptr
          ? configapi::after_request(this, ldap_modify_s(ld, dn, mods.get()))
          : configapi::kFailed;
  if (code != LDAP_SUCCESS) {
    configapi::log_ldap_error("ldap_modify operation failed");
  }
  return code;
}

int ldapClient::ldapClientDelete(char* dn) {
  configapi::before_request(this, Request::kWrite);
  if (ld == nullptr ||
      configapi::after_request(this, ldap_delete_s(ld, dn)) != LDAP_SUCCESS) {
    configapi::log_ldap_error("ldap_delete failed");
    return configapi::kFailed;
  }
  return 0;
}

int ldapClient::ldapClientModRDN(char* dn, char* newName) try {
  constexpr auto kModifyFailed = "ldap_modrdn CN modification failed";
  const configapi::HeapText old_value(dn_check(dn));
  const configapi::HeapText new_value(dn_check(newName));
  configapi::AttrList<2> exchange;
  if (old_value == nullptr || new_value == nullptr ||
      !exchange.append(LDAP_MOD_DELETE, "cn", old_value.get()) ||
      !exchange.append(LDAP_MOD_ADD, "cn", new_value.get())) {
    return configapi::rename_failed(kModifyFailed);
  }
  const std::string rdn = std::string("cn=") + new_value.get();
  const int code = ldapClientModify(dn, exchange.get());
  if (code != 0 && !configapi::leaves_naming_to_rename(code)) {
    return configapi::rename_failed(kModifyFailed);
  }
  configapi::before_request(this, Request::kWrite);
  if (configapi::after_request(this, ldap_modrdn_s(ld, dn, rdn.c_str())) !=
      LDAP_SUCCESS) {
    return configapi::rename_failed("ldap_modrdn failed");
  }
  return 0;
} catch (...) {
  return configapi::rename_failed("ldap_modrdn CN modification failed");
}

int ldapClient::ldapClientCompare(char* dn, char* attribute, char* value) {
  configapi::before_request(this, Request::kRead);
  int code = LDAP_PARAM_ERROR;
  if (ld != nullptr) {
    code = ldap_compare_s(ld, dn, attribute, value);
    if (configapi::is_reconnected(this, code)) {
      code = ldap_compare_s(ld, dn, attribute, value);
    }
    configapi::after_request(this, code);
  }
  if (code != LDAP_COMPARE_TRUE) {
    configapi::log_ldap_info("different value for compare operation");
    return configapi::kFailed;
  }
  configapi::log_ldap_info("same value for compare operation");
  return 0;
}

void ldapClient::srch_free(SearchReq* list) {
  configapi::free_entries(list);
}

void ldapClient::free(void* p) {
  std::free(p);
}

// NOLINTEND(readability-non-const-parameter)
// NOLINTEND(readability-convert-member-functions-to-static)
// NOLINTEND(readability-make-member-function-const)
