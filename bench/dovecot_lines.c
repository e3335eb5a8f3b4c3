#include "dovecot_lines.h"

// Dovecot's headers want this order.
// clang-format off
#include <config.h>
#include <lib.h>
#include <istream.h>
// clang-format on

void dovecot_start(void) {
  lib_init();
}

struct istream* dovecot_open(const char* path) {
  return i_stream_create_file(path, 4096);
}

const char* dovecot_line(struct istream* stream) {
  return i_stream_read_next_line(stream);
}

void dovecot_rewind(struct istream* stream) {
  i_stream_seek(stream, 0);
}
