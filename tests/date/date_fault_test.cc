#include <gtest/gtest.h>

#include "date/date_text.h"
#include "support/alloc_fault.h"

namespace {

TEST(DateParsers, OneAllocationForADateAndNoneForARefusal) {
  const char* const mail = "Mon, 16 Nov 1998 15:48:37 -0500";
  const char* const ctime = "Mon Nov 16 15:48:37 1998";
  for (const bool reads_mail : {true, false}) {
    auto* const parse = reads_mail ? rfc2UTC : ctime2UTC;
    UTC_DATE stale{};
    UTC_DATE* kept = &stale;
    EXPECT_EQ(parse(nullptr, &kept), 0);
    EXPECT_EQ(kept, &stale);
    for (const char* text : {mail, ctime}) {
      for (int n = 1; n <= 2; ++n) {
        UTC_DATE* date = &stale;
        const bool accepted = reads_mail == (text == mail);
        const test::AllocFault fault(n);
        const int result = parse(text, &date);
        EXPECT_EQ(test::AllocFault::happened(), accepted && n == 1) << text;
        EXPECT_EQ(result, accepted && n == 2 ? 1 : 0) << text;
        EXPECT_EQ(date != nullptr, result == 1) << text;
        std::free(date);
      }
    }
  }
}

}  // namespace
