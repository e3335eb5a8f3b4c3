#include "dovecot_headers.h"

// Dovecot's headers want this order.
// clang-format off
#include <config.h>
#include <lib.h>
#include <istream.h>
#include <message-address.h>
#include <message-date.h>
#include <message-header-parser.h>
// clang-format on

#include <limits.h>
#include <time.h>

static const char* const address_names[] = {
    "To",        "Cc",        "Bcc",        "From",        "Reply-To",
    "Resent-To", "Resent-Cc", "Resent-Bcc", "Resent-From", "Return-Receipt-To",
};

static bool is_address(const char* name) {
  for (size_t i = 0; i < N_ELEMENTS(address_names); ++i) {
    if (strcasecmp(name, address_names[i]) == 0) {
      return TRUE;
    }
  }
  return FALSE;
}

static void take_header(struct message_header_line* header, pool_t* pool) {
  time_t timestamp;
  int offset;
  if (header == NULL || header->eoh) {
    return;
  }
  if (header->continues) {
    header->use_full_value = TRUE;
    return;
  }
  if (is_address(header->name)) {
    message_address_parse(*pool, header->full_value, header->full_value_len,
                          UINT_MAX, 0);
  } else if (strcasecmp(header->name, "Date") == 0) {
    message_date_parse(header->full_value, header->full_value_len, &timestamp,
                       &offset);
  } else {
    p_strndup(*pool, header->full_value, header->full_value_len);
  }
}

void dovecot_start(void) {
  lib_init();
}

struct istream* dovecot_open(const char* path) {
  return i_stream_create_file(path, 4096);
}

void dovecot_parse_header(struct istream* file) {
  T_BEGIN {
    pool_t pool = pool_alloconly_create("header", 1024);
    i_stream_seek(file, 0);
    message_parse_header(file, NULL,
                         MESSAGE_HEADER_PARSER_FLAG_SKIP_INITIAL_LWSP,
                         take_header, &pool);
    pool_unref(&pool);
  }
  T_END;
}
