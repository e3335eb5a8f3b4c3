// Owners for what the LDAP library hands out.

#ifndef CONFIGAPI_LDAP_OWNERS_H_
#define CONFIGAPI_LDAP_OWNERS_H_

#include <configapi/internals.h>
#include <ldap.h>

#include <memory>

namespace configapi {

struct LdapFree {
  void operator()(LDAPMessage* message) const { ldap_msgfree(message); }
  // The array alone: values lie in their message.
  void operator()(berval* values) const { ber_memfree(values); }
  void operator()(LDAPMod** mods) const { free_modlist(mods); }
  // 0: the message under the element belongs to the result.
  void operator()(BerElement* element) const { ber_free(element, 0); }
};

using ResultPtr = std::unique_ptr<LDAPMessage, LdapFree>;
using ValuesPtr = std::unique_ptr<berval, LdapFree>;
using ModsPtr = std::unique_ptr<LDAPMod*, LdapFree>;
using ElementPtr = std::unique_ptr<BerElement, LdapFree>;

}  // namespace configapi

#endif  // CONFIGAPI_LDAP_OWNERS_H_
