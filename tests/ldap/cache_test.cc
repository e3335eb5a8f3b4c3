// Connect with an LDAP library that has a cache of its own. The client is
// compiled into this test once more, because few libraries still have one.

#include "ldap/fake_session.h"

namespace {

class Cache : public test::FakeSession {};

TEST_F(Cache, IsEnabledOnConnectAndMayBeRefused) {
  for (const int code : {0, -1}) {
    fake.cache_code = code;
    EXPECT_EQ(client.ldapClientConnect(nullptr, 0), 0);
    EXPECT_EQ(client.cacheEnabled, code == 0 ? 1 : 0);
    EXPECT_EQ(fake.take_calls().back(), "enable_cache 100 4000");
  }
  EXPECT_EQ(log.take(), test::Lines{});
}

}  // namespace
