// What the header of an LDAP library with a cache declares.

#ifndef CONFIGAPI_TESTS_ENABLE_CACHE_H_
#define CONFIGAPI_TESTS_ENABLE_CACHE_H_

#include <ldap.h>

extern "C" int ldap_enable_cache(LDAP* ld, long seconds, long bytes);

#endif  // CONFIGAPI_TESTS_ENABLE_CACHE_H_
