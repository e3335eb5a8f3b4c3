#include "dovecot_dates.h"

// Dovecot's headers want this order.
// clang-format off
#include <config.h>
#include <lib.h>
#include <message-date.h>
// clang-format on

void dovecot_start(void) {
  lib_init();
}

int dovecot_parse_date(const char* text, size_t length, time_t* time) {
  int zone = 0;
  return message_date_parse((const unsigned char*)text, length, time, &zone);
}

size_t dovecot_format_date(time_t time) {
  size_t length = 0;
  T_BEGIN {
    length = strlen(message_date_create(time));
  }
  T_END;
  return length;
}
