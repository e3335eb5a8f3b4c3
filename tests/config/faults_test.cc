// Settings when the heap is exhausted.

#include <configapi/config.h>
#include <gtest/gtest.h>

#include "support/alloc_fault.h"
#include "support/log_capture.h"

namespace {

TEST(ConfigFaults, AReadWithoutMemoryForItsBufferGivesFive) {
  cConfig config;
  char value[8] = "kept";
  unsigned long type = 99;
  {
    const test::AllocFault fault(1);
    EXPECT_EQ(config.CONFIGReadData("Gateway", "LogDirectory", nullptr, value,
                                    sizeof value, &type),
              5);
    EXPECT_TRUE(test::AllocFault::happened());
  }
  EXPECT_STREQ(value, "kept");
  EXPECT_EQ(type, 99U);
}

// An entry that cannot be had whole is not added. One whose new value cannot be
// had goes, so that the old value is not given out as the present one.
TEST(ConfigFaults, TheCacheStaysWholeWhicheverAllocationFails) {
  char value[16];
  unsigned long type = 0;
  int failed = 0;
  for (int n = 1;; ++n) {
    ClearCache();
    {
      const test::AllocFault fault(n);
      EXPECT_EQ(AddCache("S", "key", "value", 2), 0);
    }
    if (!test::AllocFault::happened()) {
      break;
    }
    ++failed;
    EXPECT_EQ(LookupCache("S", "key", value, sizeof value, &type), 1) << n;
  }
  EXPECT_EQ(failed, 4);  // the entry and its three texts

  {
    const test::AllocFault fault(1);
    EXPECT_EQ(AddCache("S", "key", "other", 3), 0);
    EXPECT_TRUE(test::AllocFault::happened());
  }
  EXPECT_EQ(LookupCache("S", "key", value, sizeof value, &type), 1);
  ClearCache();
}

}  // namespace
