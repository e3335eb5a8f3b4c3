#include <configapi/rfcdate.h>
#include <gtest/gtest.h>

#include <cstdlib>

#include "support/alloc_fault.h"

namespace {

// Parses with the n-th allocation failing; whether that one came.
bool parse_failing(int n, int (*parse)(const char*, UTC_DATE**),
                   const char* text, bool accepted) {
  UTC_DATE stale{};
  UTC_DATE* date = &stale;
  const test::AllocFault fault(n);
  const int result = parse(text, &date);
  const bool failed = test::AllocFault::happened();
  EXPECT_EQ(result, accepted && !failed ? 1 : 0) << text;
  EXPECT_EQ(date != nullptr, accepted && !failed) << text;
  std::free(date);
  return failed;
}

TEST(DateParsers, OneAllocationForADateAndNoneForARefusal) {
  const char* const mail = "Mon, 16 Nov 1998 15:48:37 -0500";
  EXPECT_TRUE(parse_failing(1, rfc2UTC, mail, true));
  EXPECT_FALSE(parse_failing(2, rfc2UTC, mail, true));
  EXPECT_FALSE(parse_failing(1, rfc2UTC, "31 Feb 1998", false));
  const char* const ctime = "Mon Nov 16 15:48:37 1998";
  EXPECT_TRUE(parse_failing(1, ctime2UTC, ctime, true));
  EXPECT_FALSE(parse_failing(2, ctime2UTC, ctime, true));
  EXPECT_FALSE(parse_failing(1, ctime2UTC, mail, false));
}

}  // namespace
