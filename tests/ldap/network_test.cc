// Servers that hang up, stall or talk nonsense, with the real LDAP library.

#include <configapi/ldapclient.h>
#include <gtest/gtest.h>
#include <sys/time.h>

#include <chrono>
#include <csignal>
#include <string>

#include "base/heap_text.h"
#include "support/client_text.h"
#include "support/log_capture.h"
#include "support/process_faults.h"
#include "support/stub_server.h"

namespace {

using test::LogLines;
using test::StubServer;
using test::Text;
using Ending = test::StubServer::Ending;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

class Network : public testing::Test {
 public:
  void connect_and_bind(const StubServer& server) {
    ASSERT_EQ(client.ldapClientConnect(Text("127.0.0.1"), server.port()), 0);
    ASSERT_EQ(client.ldapClientBind(Text("cn=x"), Text("pw")), 0);
  }
  void TearDown() override { client.ldapClientUnbind(); }

  test::LogCapture log;
  ldapClient client;
};

struct Operation {
  int failure;
  int unconnected;
  const char* line;  // the last one that is logged when unconnected
  int (*run)(ldapClient&);
};

int bind(ldapClient& client) {
  return client.ldapClientBind(nullptr, nullptr);
}

int search(ldapClient& client) {
  int rc = 0;
  client.srch_free(client.ldapClientSearch(nullptr, 2, 0, Text("(cn=x)"), &rc));
  return rc;
}

// With an add or a modify.
template <int (ldapClient::*kUpdate)(char*, attrval*)>
int update(ldapClient& client) {
  attrval end{};
  attrval value{.op = 0, .name = "cn", .value = "x", .next = &end};
  return (client.*kUpdate)(Text("cn=x"), &value);
}

int remove(ldapClient& client) {
  return client.ldapClientDelete(Text("cn=x"));
}

int rename(ldapClient& client) {
  return client.ldapClientModRDN(Text("cn=x"), Text("y"));
}

int compare(ldapClient& client) {
  return client.ldapClientCompare(Text("cn=x"), Text("cn"), Text("x"));
}

int read(ldapClient& client) {
  int rc = 0;
  const configapi::HeapText value(
      client.ldapGetProfileString(Text("MAIL"), Text("Key"), &rc));
  return rc;
}

int write(ldapClient& client) {
  return client.ldapWriteProfileString(Text("MAIL"), Text("Key"), Text("v"));
}

int unbind(ldapClient& client) {
  client.ldapClientUnbind();
  return 0;
}

constexpr Operation kOperations[] = {
    {4, 4, "1 LDAP Client API: ldap_bind error", bind},
    {1, 4, "", search},
    {-1, -1, "1 LDAP Client API: ldap_add operation failed",
     update<&ldapClient::ldapClientAdd>},
    {-1, -1, "1 LDAP Client API: ldap_modify operation failed",
     update<&ldapClient::ldapClientModify>},
    {-1, -1, "1 LDAP Client API: ldap_delete failed", remove},
    {-1, -1, "1 LDAP Client API: ldap_modrdn CN modification failed", rename},
    {-1, -1, "6 LDAP Client API: different value for compare operation",
     compare},
    {1, 4, "6 LDAP Client API: ldapGetProfileString: no values found", read},
    {-1, -1, "1 LDAP Client API: ldapWriteProfileString failed", write},
    {0, 0, "", unbind},
};

// libldap aborts the process when it is handed no connection.
TEST_F(Network, EveryOperationNeedsAConnection) {
  for (const Operation& operation : kOperations) {
    SCOPED_TRACE(operation.line);
    EXPECT_EQ(operation.run(client), operation.unconnected);
    const LogLines lines = log.take();
    EXPECT_EQ(lines.empty() ? "" : lines.back(), operation.line);
  }
}

bool sigpipe_is(int (*get)(sigset_t*)) {
  sigset_t set;
  get(&set);
  return sigismember(&set, SIGPIPE) == 1;
}

int get_blocked(sigset_t* set) {
  return pthread_sigmask(SIG_BLOCK, nullptr, set);
}

// SIGPIPE has its default action here: one would end the test.
TEST_F(Network, AServerThatHangsUpGivesAnErrorAndNoSignal) {
  for (const Ending ending : {Ending::kClose, Ending::kReset}) {
    for (const Operation& operation : kOperations) {
      SCOPED_TRACE(operation.line);
      StubServer server(1, ending);
      connect_and_bind(server);
      server.wait_for_hang_up();
      // Whatever is sent goes to a new connection. The bind is answered there;
      // another would meet its end.
      if (operation.run == bind) {
        EXPECT_EQ(operation.run(client), 0);
      } else {
        EXPECT_EQ(operation.run(client), operation.failure);
        EXPECT_EQ(operation.run(client), operation.failure);
      }
      connect_and_bind(server);
      EXPECT_FALSE(sigpipe_is(get_blocked));
      EXPECT_FALSE(sigpipe_is(sigpending));
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
  for (const bool has_one : {false, true}) {
    ASSERT_EQ(has_one ? raise(SIGPIPE) : 0, 0);
    EXPECT_EQ(client.ldapClientDelete(Text("cn=x")), -1);
    EXPECT_EQ(sigpipe_is(sigpending), has_one);
  }
  const timespec at_once{};
  sigtimedwait(&sigpipe, nullptr, &at_once);
  pthread_sigmask(SIG_UNBLOCK, &sigpipe, nullptr);
}

TEST_F(Network, AServerThatIsNotThereOrGoesAwayAtOnce) {
  const int port = StubServer(0, Ending::kSilence).port();
  EXPECT_EQ(client.ldapClientConnect(Text("127.0.0.1"), port), 4);
  EXPECT_EQ(client.ld, nullptr);
  const LogLines lines = log.take();
  ASSERT_EQ(lines.size(), 1U);
  const std::string start = "1 LDAP Client API: ldap_open error: errno=";
  EXPECT_EQ(lines[0].find(start), 0U) << lines[0];
  EXPECT_NE(lines[0], start + "0");

  const StubServer closing(0, Ending::kClose);
  ASSERT_EQ(client.ldapClientConnect(Text("127.0.0.1"), closing.port()), 0);
  EXPECT_EQ(client.ldapClientBind(Text("cn=x"), Text("pw")), 4);
  EXPECT_EQ(client.ld, nullptr);
}

TEST_F(Network, AnswersThatAreNoLdapAreRefused) {
  const StubServer server(1, Ending::kGarbage);
  for (const Operation& operation : kOperations) {
    SCOPED_TRACE(operation.line);
    connect_and_bind(server);
    EXPECT_EQ(operation.run(client), operation.failure);
  }
}

TEST_F(Network, ATimeLimitEndsTheWaitAndNotTheSession) {
  const StubServer server(1, Ending::kSilence);
  connect_and_bind(server);
  timeval limit{0, 200000};
  const Text type("cn");
  char* types[] = {type, nullptr};
  int rc = 0;
  for (const bool all : {true, false}) {
    const auto start = steady_clock::now();
    const SearchReq* const found =
        all ? client.ldapClientSearch(nullptr, 2, 0, Text("(cn=x)"), &limit,
                                      &rc)
            : client.ldapClientSearch(nullptr, 2, 0, Text("(cn=x)"), types,
                                      &limit, &rc);
    EXPECT_EQ(found, nullptr);
    EXPECT_EQ(rc, 1);
    EXPECT_GE(steady_clock::now() - start, milliseconds(200));
    EXPECT_NE(client.ld, nullptr);
    EXPECT_EQ(log.take(), LogLines{"1 LDAP Client API: ldap_search failed"});
  }
}

// Hosts use timers and have children.
TEST_F(Network, AStormOfSignalsChangesNothing) {
  const StubServer server(99, Ending::kSilence, milliseconds(2));
  const auto results = [&] {
    connect_and_bind(server);
    std::string all;
    for (const Operation& operation : kOperations) {
      all += std::to_string(operation.run(client)) + " ";
    }
    return all + testing::PrintToString(log.take());
  };
  const std::string quiet = results();
  const test::SignalStorm storm;
  EXPECT_EQ(results(), quiet);
  // The limits stay what they are.
  const StubServer silent(1, Ending::kSilence);
  connect_and_bind(silent);
  timeval limit{0, 200000};
  int rc = 0;
  const auto start = steady_clock::now();
  client.ldapClientSearch(nullptr, 2, 0, Text("(cn=x)"), &limit, &rc);
  EXPECT_EQ(rc, 1);
  EXPECT_GE(steady_clock::now() - start, milliseconds(190));
}

TEST_F(Network, WithoutDescriptorsNothingConnectsUntilTheyAreBack) {
  StubServer server(2, Ending::kClose);
  connect_and_bind(server);
  EXPECT_EQ(search(client), 1);
  server.wait_for_hang_up();
  const int next = test::next_descriptor();
  const std::string source = "LDAP Client API: ";
  log.take();
  {
    const test::NoDescriptors none;
    EXPECT_EQ(search(client), 1);
    EXPECT_EQ(remove(client), -1);
    ldapClient other;
    EXPECT_EQ(other.ldapClientConnect(Text("127.0.0.1"), server.port()), 4);
    EXPECT_EQ(other.ld, nullptr);
  }
  EXPECT_EQ(log.take(),
            (LogLines{"1 " + source + "ldap_search failed",
                      "1 " + source + "ldap_delete failed",
                      "1 " + source + "ldap_open error: errno=24"}));
  EXPECT_EQ(search(client), 1);
  EXPECT_EQ(log.take(),
            (LogLines{"6 " + source + "reconnected to ldap://127.0.0.1:" +
                          std::to_string(server.port()),
                      "6 " + source + "ldap_search return nothing"}));
  client.ldapClientUnbind();
  EXPECT_LE(test::next_descriptor(), next);
}

}  // namespace
