// What the library exports besides its interface: the steps that its modules
// are made of. Hosts do not call these; tests and tools that look inside do.
// No other public header includes this one, because the names are short and
// stand at global scope.

#ifndef CONFIGAPI_INTERNALS_H_
#define CONFIGAPI_INTERNALS_H_

#include <configapi/config.h>
#include <configapi/cs.h>
#include <configapi/export.h>
#include <configapi/ldapclient.h>

CONFIGAPI_BEGIN_C

// Start-up (src/config/startup.cc). The loader runs both, once per process:
// they create and delete the locks of the header and recipient parsers.
CONFIGAPI_EXPORT void configapi_init(void);
CONFIGAPI_EXPORT void configapi_fini(void);

// Directory client (src/ldap).
struct berval;
struct ldap;
struct ldapmod;

// Waits for the answer to a request: 0 success, -1 the connection failed, -2
// no answer in time (the request is then abandoned), -3 the server refused.
CONFIGAPI_EXPORT int wait4result(struct ldap* ld, int seconds, int msgid);

// Turns a list into the LDAP library's modification array, every record with
// the operation op (0 add, 1 delete, 2 replace), or with its own when op is
// -1. Null for a list without values and when memory is out. Released with
// free_modlist().
CONFIGAPI_EXPORT struct ldapmod** get_modlist(attrval* list, int op);
CONFIGAPI_EXPORT void free_modlist(struct ldapmod** mods);
CONFIGAPI_EXPORT void free_berval(struct berval** values);

CONFIGAPI_END_C

#endif  // CONFIGAPI_INTERNALS_H_
