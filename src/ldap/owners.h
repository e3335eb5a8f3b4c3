// Owners for what the LDAP library hands out.

#ifndef CONFIGAPI_LDAP_OWNERS_H_
#define CONFIGAPI_LDAP_OWNERS_H_

#include <configapi/internals.h>
#include <ldap.h>

#include <memory>

namespace configapi {

struct LdapFree {
  void operator()(LDAPMessage* message) const { ldap_msgfree(message); }
  void operator()(char* text) const { ldap_memfree(text); }
  void operator()(char** values) const { ldap_value_free(values); }
  void operator()(LDAPMod** mods) const { free_modlist(mods); }
  // 0: the message under the element belongs to the result.
  void operator()(BerElement* element) const { ber_free(element, 0); }
};

using ResultPtr = std::unique_ptr<LDAPMessage, LdapFree>;
using LdapText = std::unique_ptr<char, LdapFree>;
using ValuesPtr = std::unique_ptr<char*, LdapFree>;
using ModsPtr = std::unique_ptr<LDAPMod*, LdapFree>;
using ElementPtr = std::unique_ptr<BerElement, LdapFree>;

}  // namespace configapi

#endif  // CONFIGAPI_LDAP_OWNERS_H_
