// Dovecot's dates, behind functions that C++ can call.

#ifndef CONFIGAPI_BENCH_DOVECOT_DATES_H_
#define CONFIGAPI_BENCH_DOVECOT_DATES_H_

#include <stddef.h>
#include <time.h>

#ifdef __cplusplus
extern "C" {
#endif

// Once, before the others.
void dovecot_start(void);

// 1 when the text was read.
int dovecot_parse_date(const char* text, size_t length, time_t* time);

// The length of the text that was written.
size_t dovecot_format_date(time_t time);

#ifdef __cplusplus
}
#endif

#endif  // CONFIGAPI_BENCH_DOVECOT_DATES_H_
