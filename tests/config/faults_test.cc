// Settings when the heap is exhausted.

#include <configapi/config.h>
#include <gtest/gtest.h>

#include "support/alloc_fault.h"

namespace {

using test::AllocFault;

TEST(ConfigFaults, AReadWithoutMemoryForItsBufferGivesFive) {
  cConfig config;
  char value[8] = "kept";
  unsigned long type = 99;
  const AllocFault fault(1);
  EXPECT_EQ(config.CONFIGReadData("Gateway", "LogDirectory", nullptr, value,
                                  sizeof value, &type),
            5);
  EXPECT_STREQ(value, "kept");
  EXPECT_EQ(type, 99U);
}

int add(int failing, const char* value) {
  const AllocFault fault(failing);
  return AddCache("S", "key", value, 2);
}

// An entry that cannot be had whole is not added. One whose new value cannot be
// had goes, so that the old value is not given out as the present one.
TEST(ConfigFaults, TheCacheStaysWholeWhicheverAllocationFails) {
  char value[16];
  unsigned long type = 0;
  for (int n = 1; n <= 5; ++n) {  // the entry and its three texts
    ClearCache();
    EXPECT_EQ(add(n, "value"), 0);
    EXPECT_EQ(AllocFault::happened(), n < 5);
    EXPECT_EQ(LookupCache("S", "key", value, sizeof value, &type), n < 5);
  }
  EXPECT_EQ(add(1, "other"), 0);
  EXPECT_TRUE(AllocFault::happened());
  EXPECT_EQ(LookupCache("S", "key", value, sizeof value, &type), 1);
  ClearCache();
}

}  // namespace
