#include <configapi/rfc822.h>

// clang-format off
// NOLINTNEXTLINE(bugprone-reserved-identifier,cert-dcl37-c): interface name
extern "C" const HdrName _htbl[30] = {
    {"to:", 1, 7},
    {"resent-to:", 5, 7},
    {"cc:", 3, 7},
    {"resent-cc:", 6, 7},
    {"bcc:", 4, 7},
    {"resent-bcc:", 7, 7},
    {"from:", 2, 7},
    {"resent-from:", 27, 7},
    {"resent-date:", 28, 7},
    {"received:", 8, 1},
    {"reply-to:", 9, 6},
    {"return-receipt-to:", 10, 4},
    {"subject:", 11, 0},
    {"date:", 12, 0},
    {"sender:", 13, 6},
    {"message-id:", 14, 0},
    {"resent-message-id:", 18, 0},
    {"in-reply-to:", 15, 0},
    {"references:", 16, 0},
    {"return-path:", 17, 0},
    {"from ", 19, 0},
    {"status:", 20, 0},
    {"recvdate:", 21, 0},
    {"mime-version:", 22, 0},
    {"content-type:", 23, 1},
    {"content-transfer-encoding:", 24, 1},
    {"content-id:", 25, 1},
    {"content-description:", 26, 1},
    // Takes every name that has a ":" and no row: it is the last one.
    {"other:", 29, 1},
    {nullptr, 0, 0},
};
// clang-format on
