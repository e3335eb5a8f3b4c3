// Dovecot's address lists, behind functions that C++ can call.

#ifndef CONFIGAPI_BENCH_DOVECOT_ADDRESSES_H_
#define CONFIGAPI_BENCH_DOVECOT_ADDRESSES_H_

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

// Once, before the other.
void dovecot_addresses_start(void);

// Parses a list into a pool of its own and releases it.
void dovecot_parse_addresses(const char* text, size_t length);

#ifdef __cplusplus
}
#endif

#endif  // CONFIGAPI_BENCH_DOVECOT_ADDRESSES_H_
