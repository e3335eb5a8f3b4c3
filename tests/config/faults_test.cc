// A directory that is away, and a key of a type that is not to be written.

#include <configapi/config.h>
#include <gtest/gtest.h>
#include <ldap.h>

#include <atomic>
#include <memory>
#include <string>

#include "support/client_text.h"
#include "support/log_capture.h"
#include "support/stub_server.h"

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

// Whether the server stalls or has gone.
TEST(ConfigFaults, WhatIsCachedIsAnsweredWithoutTheDirectory) {
  const test::LogCapture log;
  const timeval limit{0, 200000};
  ldap_set_option(nullptr, LDAP_OPT_TIMEOUT, &limit);
  std::atomic<bool> stalls = false;
  const auto answer = [&stalls](int id, char /*asked*/) {
    return stalls ? "" : test::ldap_entry(id, "cn=S", "key", "x");
  };
  auto server = std::make_unique<test::StubServer>(1, answer);
  const int port = server->port();
  cConfig config;
  ASSERT_EQ(config.ldapClientConnect(Text("127.0.0.1"), port), 0);
  ASSERT_EQ(config.ldapClientBind(Text("cn=x"), Text("pw")), 0);
  const auto read = [&config](const char* key) {
    char value[8] = "kept";
    unsigned long type = 99;
    const int result =
        config.CONFIGReadData("S", key, "directory", value, 8, &type);
    return std::to_string(result) + " " + value + " " + std::to_string(type);
  };
  EXPECT_EQ(read("key"), "0 x 99");
  stalls = true;
  for (int round = 0; round < 2; ++round) {
    EXPECT_EQ(read("key"), "0 x 0");
    EXPECT_EQ(read("other"), "3 kept 99");
    server = nullptr;
  }
  // Who asks for fresh values does not get old ones.
  EXPECT_EQ(config.CONFIGRefreshCache(), 0);
  EXPECT_EQ(read("key"), "3 kept 99");
  stalls = false;
  server = std::make_unique<test::StubServer>(1, answer, port);
  EXPECT_EQ(read("key"), "0 x 99");
  config.ldapClientUnbind();
  ClearCache();
}

}  // namespace
