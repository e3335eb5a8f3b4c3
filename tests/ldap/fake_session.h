// A client on the scripted LDAP library.

#ifndef CONFIGAPI_TESTS_FAKE_SESSION_H_
#define CONFIGAPI_TESTS_FAKE_SESSION_H_

#include <configapi/ldapclient.h>
#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "ldap/client_text.h"
#include "ldap/fake_ldap.h"
#include "support/log_capture.h"

namespace test {

using Lines = std::vector<std::string>;

class FakeSession : public testing::Test {
 public:
  // Connects, and forgets the calls that this took.
  void connect() {
    ASSERT_EQ(client.ldapClientConnect(nullptr, 0), 0);
    fake.take_calls();
  }

  static std::string error(std::string_view text) {
    return "1 LDAP Client API: " + std::string(text);
  }
  static std::string info(std::string_view text) {
    return "6 LDAP Client API: " + std::string(text);
  }

  void TearDown() override {
    client.ldapClientUnbind();
    EXPECT_EQ(FakeLdap::outstanding(), 0U);
  }

  FakeLdap fake;
  LogCapture log;
  ldapClient client;
};

}  // namespace test

#endif  // CONFIGAPI_TESTS_FAKE_SESSION_H_
