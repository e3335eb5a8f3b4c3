// Servers that hang up, stall or talk nonsense, with the real LDAP library.

#include <configapi/ldapclient.h>
#include <gtest/gtest.h>
#include <sys/time.h>

#include <chrono>
#include <csignal>
#include <string>

#include "ldap/client_text.h"
#include "ldap/stub_server.h"
#include "support/log_capture.h"

namespace {

using test::StubServer;
using test::Text;
using Ending = test::StubServer::Ending;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

class Network : public testing::Test {
 public:
  void connect(const StubServer& server) {
    ASSERT_EQ(client.ldapClientConnect(Text("127.0.0.1"), server.port()), 0);
  }
  void connect_and_bind(const StubServer& server) {
    connect(server);
    ASSERT_EQ(client.ldapClientBind(Text("cn=x"), Text("pw")), 0);
  }
  void TearDown() override { client.ldapClientUnbind(); }

  test::LogCapture log;
  ldapClient client;
};

struct Operation {
  const char* name;
  int failure;
  int (*run)(ldapClient&);
};

constexpr Operation kOperations[] = {
    {"bind", 4,
     [](ldapClient& c) { return c.ldapClientBind(nullptr, nullptr); }},
    {"search", 1,
     [](ldapClient& c) {
       int rc = 0;
       c.srch_free(c.ldapClientSearch(nullptr, 2, 0, Text("(cn=x)"), &rc));
       return rc;
     }},
    {"add", -1,
     [](ldapClient& c) {
       attrval end{};
       attrval value{.op = 0, .name = "cn", .value = "x", .next = &end};
       return c.ldapClientAdd(Text("cn=x"), &value);
     }},
    {"modify", -1,
     [](ldapClient& c) {
       attrval end{};
       attrval value{.op = 2, .name = "cn", .value = "x", .next = &end};
       return c.ldapClientModify(Text("cn=x"), &value);
     }},
    {"delete", -1,
     [](ldapClient& c) { return c.ldapClientDelete(Text("cn=x")); }},
    {"rename", -1,
     [](ldapClient& c) { return c.ldapClientModRDN(Text("cn=x"), Text("y")); }},
    {"compare", -1,
     [](ldapClient& c) {
       return c.ldapClientCompare(Text("cn=x"), Text("cn"), Text("x"));
     }},
    {"profile write", -1,
     [](ldapClient& c) {
       return c.ldapWriteProfileString(Text("MAIL"), Text("Key"), Text("v"));
     }},
    {"unbind", 0,
     [](ldapClient& c) {
       c.ldapClientUnbind();
       return 0;
     }},
};

bool sigpipe_is_blocked() {
  sigset_t mask;
  pthread_sigmask(SIG_BLOCK, nullptr, &mask);
  return sigismember(&mask, SIGPIPE) == 1;
}

bool sigpipe_is_pending() {
  sigset_t pending;
  sigpending(&pending);
  return sigismember(&pending, SIGPIPE) == 1;
}

// SIGPIPE has its default action here: one would end the test.
TEST_F(Network, AServerThatHangsUpGivesAnErrorAndNoSignal) {
  for (const Ending ending : {Ending::kClose, Ending::kReset}) {
    for (const Operation& operation : kOperations) {
      SCOPED_TRACE(operation.name);
      StubServer server(1, ending);
      connect_and_bind(server);
      server.wait_for_hang_up();
      EXPECT_EQ(operation.run(client), operation.failure);
      EXPECT_EQ(operation.run(client), operation.failure);
      client.ldapClientUnbind();
      connect_and_bind(server);
      EXPECT_FALSE(sigpipe_is_blocked());
      EXPECT_FALSE(sigpipe_is_pending());
    }
  }
}

TEST_F(Network, AHostKeepsTheSigpipeThatItWaitsFor) {
  sigset_t sigpipe;
  sigemptyset(&sigpipe);
  sigaddset(&sigpipe, SIGPIPE);
  pthread_sigmask(SIG_BLOCK, &sigpipe, nullptr);
  StubServer server(1, Ending::kReset);
  connect_and_bind(server);
  server.wait_for_hang_up();
  EXPECT_EQ(client.ldapClientDelete(Text("cn=x")), -1);
  EXPECT_FALSE(sigpipe_is_pending());

  ASSERT_EQ(raise(SIGPIPE), 0);
  EXPECT_EQ(client.ldapClientDelete(Text("cn=x")), -1);
  EXPECT_TRUE(sigpipe_is_pending());
  const timespec at_once{};
  sigtimedwait(&sigpipe, nullptr, &at_once);
  pthread_sigmask(SIG_UNBLOCK, &sigpipe, nullptr);
}

TEST_F(Network, AServerThatIsNotThereOrGoesAwayAtOnce) {
  int port = 0;
  {
    const StubServer gone(0, Ending::kSilence);
    port = gone.port();
  }
  EXPECT_EQ(client.ldapClientConnect(Text("127.0.0.1"), port), 4);
  EXPECT_EQ(client.ld, nullptr);
  const test::LogLines lines = log.take();
  ASSERT_EQ(lines.size(), 1U);
  const std::string start = "1 LDAP Client API: ldap_open error: errno=";
  EXPECT_EQ(lines[0].find(start), 0U) << lines[0];
  EXPECT_NE(lines[0], start + "0");

  const StubServer closing(0, Ending::kClose);
  connect(closing);
  EXPECT_EQ(client.ldapClientBind(Text("cn=x"), Text("pw")), 4);
  EXPECT_EQ(client.ld, nullptr);
}

TEST_F(Network, AnswersThatAreNoLdapAreRefused) {
  const StubServer server(1, Ending::kGarbage);
  for (const Operation& operation : kOperations) {
    SCOPED_TRACE(operation.name);
    connect_and_bind(server);
    EXPECT_EQ(operation.run(client), operation.failure);
  }
}

TEST_F(Network, ATimeLimitEndsTheWaitAndNotTheSession) {
  constexpr milliseconds kLimit(200);
  const StubServer server(1, Ending::kSilence);
  connect_and_bind(server);
  timeval limit{0, 200000};
  int rc = 0;
  for (int i = 0; i < 2; ++i) {
    const auto start = steady_clock::now();
    EXPECT_EQ(
        client.ldapClientSearch(nullptr, 2, 0, Text("(cn=x)"), &limit, &rc),
        nullptr);
    EXPECT_EQ(rc, 1);
    EXPECT_GE(steady_clock::now() - start, kLimit);
    EXPECT_NE(client.ld, nullptr);
    EXPECT_EQ(log.take(),
              test::LogLines{"1 LDAP Client API: ldap_search failed"});
  }
}

volatile std::sig_atomic_t alarms = 0;

// Hosts use alarms and have children.
TEST_F(Network, ASignalDoesNotEndAWait) {
  struct sigaction counting {};
  counting.sa_handler = [](int) { alarms = alarms + 1; };
  struct sigaction before {};
  sigaction(SIGALRM, &counting, &before);
  const itimerval often{{0, 20000}, {0, 20000}};
  setitimer(ITIMER_REAL, &often, nullptr);

  const StubServer server(2, Ending::kSilence, milliseconds(100));
  connect_and_bind(server);
  EXPECT_EQ(client.ldapClientDelete(Text("cn=x")), 0);
  EXPECT_GT(alarms, 0);

  const itimerval never{};
  setitimer(ITIMER_REAL, &never, nullptr);
  sigaction(SIGALRM, &before, nullptr);
}

}  // namespace
