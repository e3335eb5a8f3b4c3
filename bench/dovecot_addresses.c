#include "dovecot_addresses.h"

// Dovecot's headers want this order.
// clang-format off
#include <config.h>
#include <lib.h>
#include <message-address.h>
// clang-format on

#include <limits.h>

void dovecot_addresses_start(void) {
  lib_init();
}

void dovecot_parse_addresses(const char* text, size_t length) {
  T_BEGIN {
    pool_t pool = pool_alloconly_create("addresses", 1024);
    message_address_parse(pool, (const unsigned char*)text, length, UINT_MAX,
                          0);
    pool_unref(&pool);
  }
  T_END;
}
