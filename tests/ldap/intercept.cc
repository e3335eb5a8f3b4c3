#include "ldap/intercept.h"

#include <dlfcn.h>
#include <ldap.h>

#include <cerrno>

namespace {

template <typename Function>
Function* real(Function& self, const char* name) {
  (void)self;
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

// Whether there is an answer in the place of the function.
bool answered(const char* name, const std::string& asked, int* answer) {
  const auto found = test::ldap_answers.find(name);
  if (found == test::ldap_answers.end()) {
    return false;
  }
  test::ldap_calls.push_back(name + asked);
  *answer = found->second;
  return true;
}

template <typename Function, typename... Args>
int answer_or_call(Function& self, const char* name, const std::string& asked,
                   Args... args) {
  int answer = 0;
  return answered(name, asked, &answer) ? answer : real(self, name)(args...);
}

}  // namespace

extern "C" {

int ldap_connect(LDAP* ld) {
  const std::string before = " " + std::to_string(errno);
  char* uri = nullptr;
  ldap_get_option(ld, LDAP_OPT_URI, &uri);
  const std::string asked = " " + std::string(uri) + before;
  ldap_memfree(uri);
  return answered("ldap_connect", asked, &errno)
             ? LDAP_SERVER_DOWN
             : real(ldap_connect, "ldap_connect")(ld);
}

int ldap_simple_bind(LDAP* ld, const char* dn, const char* password) {
  return answer_or_call(ldap_simple_bind, "ldap_simple_bind", "", ld, dn,
                        password);
}

int ldap_result(LDAP* ld, int id, int all, timeval* limit,
                LDAPMessage** result) {
  const std::string seconds =
      limit != nullptr ? " " + std::to_string(limit->tv_sec) : "";
  return answer_or_call(ldap_result, "ldap_result", seconds, ld, id, all, limit,
                        result);
}

int ldap_abandon(LDAP* ld, int id) {
  return answer_or_call(ldap_abandon, "ldap_abandon", "", ld, id);
}

int ldap_search_s(LDAP* ld, const char* base, int scope, const char* filter,
                  char** attrs, int types_only, LDAPMessage** result) {
  return answer_or_call(ldap_search_s, "ldap_search_s", "", ld, base, scope,
                        filter, attrs, types_only, result);
}

int ldap_count_entries(LDAP* ld, LDAPMessage* result) {
  return answer_or_call(ldap_count_entries, "ldap_count_entries", "", ld,
                        result);
}

int ldap_get_attribute_ber(LDAP* ld, LDAPMessage* entry, BerElement* place,
                           berval* name, berval** values) {
  return answer_or_call(ldap_get_attribute_ber, "ldap_get_attribute_ber", "",
                        ld, entry, place, name, values);
}

int ldap_modify_s(LDAP* ld, const char* dn, LDAPMod** mods) {
  return answer_or_call(ldap_modify_s, "ldap_modify_s", "", ld, dn, mods);
}

int ldap_modrdn_s(LDAP* ld, const char* dn, const char* name) {
  return answer_or_call(ldap_modrdn_s, "ldap_modrdn_s", "", ld, dn, name);
}

}  // extern "C"
