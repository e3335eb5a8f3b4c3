// Modification arrays for add requests.

#ifndef CONFIGAPI_MODLIST_H_
#define CONFIGAPI_MODLIST_H_

#include <configapi/ldapclient.h>

#include "ldap/owners.h"

namespace configapi {

// Like get_modlist(list, LDAP_MOD_ADD), but with one modification for all
// values of an attribute type: servers refuse an entry whose types repeat.
ModsPtr get_addlist(const attrval* list);

}  // namespace configapi

#endif  // CONFIGAPI_MODLIST_H_
