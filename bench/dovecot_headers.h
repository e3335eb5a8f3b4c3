// Dovecot's header parser, kept apart because its headers are no C++.

#ifndef CONFIGAPI_BENCH_DOVECOT_HEADERS_H_
#define CONFIGAPI_BENCH_DOVECOT_HEADERS_H_

#ifdef __cplusplus
extern "C" {
#endif

struct istream;

void dovecot_start(void);
struct istream* dovecot_open(const char* path);

// Reads the header at the beginning of the file as ParseHdr() does: addresses
// and the date parsed, all other values copied.
void dovecot_parse_header(struct istream* file);

#ifdef __cplusplus
}
#endif

#endif  // CONFIGAPI_BENCH_DOVECOT_HEADERS_H_
