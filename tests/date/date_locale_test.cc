#include "support/latin1.h"

#include <gtest/gtest.h>

#include "date/date_text.h"

namespace {

using test::Latin1;

// 0xE4 is a letter of Latin-1 and nothing in the C locale.
const char* const kDayName = "M\xE4rz, 16 Nov 1998";
const char* const kMonth = "16 Nov\xE4 1998";
const char* const kZone = "16 Nov 1998 12:00 EST\xE4";

TEST(CLocale, BytesAbove127AreInNoClass) {
  EXPECT_EQ(test::parsed(rfc2UTC, kDayName), "refused");
  EXPECT_EQ(test::parsed(rfc2UTC, kMonth), "refused");
  EXPECT_EQ(test::parsed(rfc2UTC, kZone), "1998-11-16 12:0:0 -300 f1");
}

TEST_F(Latin1, LettersFollowTheLocale) {
  EXPECT_EQ(test::parsed(rfc2UTC, kDayName), "1998-11-16 0:0:0 0 f0");
  EXPECT_EQ(test::parsed(rfc2UTC, kMonth), "1998-11-16 0:0:0 0 f0");
  EXPECT_EQ(test::parsed(rfc2UTC, kZone), "1998-11-16 12:0:0 0 f0");
}

}  // namespace
