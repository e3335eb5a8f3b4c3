// Connect with an LDAP library that has a cache of its own. The client is
// compiled into this test once more, because few libraries still have one.

#include <configapi/ldapclient.h>
#include <gtest/gtest.h>

#include <utility>

#include "ldap/enable_cache.h"
#include "support/client_text.h"
#include "support/stub_server.h"

namespace {

int answer = 0;
std::pair<long, long> asked;

TEST(EnableCache, IsAskedForOnConnectAndMayBeRefused) {
  const test::StubServer server(0, test::StubServer::Ending::kSilence);
  for (const int code : {0, -1}) {
    answer = code;
    ldapClient client;
    EXPECT_EQ(client.ldapClientConnect(test::Text("127.0.0.1"), server.port()),
              0);
    EXPECT_EQ(client.cacheEnabled, code == 0 ? 1 : 0);
    client.ldapClientUnbind();
  }
  EXPECT_EQ(asked, std::pair(100L, 4000L));
}

}  // namespace

int ldap_enable_cache(LDAP* /*ld*/, long seconds, long bytes) {
  asked = {seconds, bytes};
  return answer;
}
