// A key of a type that is not to be written.

#include <configapi/config.h>
#include <gtest/gtest.h>

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

}  // namespace
