// Dovecot's input streams, behind functions that C++ can call.

#ifndef CONFIGAPI_BENCH_DOVECOT_LINES_H_
#define CONFIGAPI_BENCH_DOVECOT_LINES_H_

#ifdef __cplusplus
extern "C" {
#endif

struct istream;

// Once, before the others.
void dovecot_start(void);

struct istream* dovecot_open(const char* path);

// The next line without its line feed, or null at the end of the file.
const char* dovecot_line(struct istream* stream);

// Back to the beginning.
void dovecot_rewind(struct istream* stream);

#ifdef __cplusplus
}
#endif

#endif  // CONFIGAPI_BENCH_DOVECOT_LINES_H_
