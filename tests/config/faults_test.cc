// Settings when the heap is exhausted.

#include <configapi/config.h>
#include <gtest/gtest.h>

#include "support/alloc_fault.h"
#include "support/client_text.h"
#include "support/log_capture.h"

namespace {

// The table has no key of the type that is not written, so its verdict is put
// in here.
bool not_writable = false;

}  // namespace

// NOLINTBEGIN(bugprone-reserved-identifier,cert-dcl37-c): the linker's names
extern "C" int __real_valid8_type(unsigned long type, char* value);
extern "C" int __wrap_valid8_type(unsigned long type, char* value) {
  return not_writable ? 1 : __real_valid8_type(type, value);
}
// NOLINTEND(bugprone-reserved-identifier,cert-dcl37-c)

namespace {

using test::AllocFault;
using test::Text;

TEST(ConfigFaults, ATypeThatIsNotWrittenGivesSix) {
  test::LogCapture log;
  cConfig config;
  AddCache("S", "key", "kept", 0);
  not_writable = true;
  EXPECT_EQ(config.CONFIGWriteData("Options", "LdapServer", Text("top"), 0), 6);
  not_writable = false;
  EXPECT_EQ(log.take(), test::LogLines{"6 CONFIG API: invalid data"});
  char value[8];
  unsigned long type = 0;
  EXPECT_EQ(LookupCache("S", "key", value, sizeof value, &type), 0);
  ClearCache();
}

// The record and its six texts; without the last, the address as written, there
// is a recipient all the same.
TEST(ConfigFaults, AnAddressWithoutMemoryIsNotValid) {
  for (int n = 1; n <= 8; ++n) {
    const Text address("Joe <a@b>");
    const AllocFault fault(n);
    EXPECT_EQ(valid8_type(TYPE_RFC822_ADDRESS, address), n < 7 ? -1 : 0) << n;
    EXPECT_EQ(AllocFault::happened(), n < 8) << n;
  }
}

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
