// Servers that restart, stall, or stand in a list of hosts.

#include <configapi/ldapclient.h>
#include <gtest/gtest.h>
#include <ldap.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "ldap/connection.h"
#include "support/client_test.h"
#include "support/stub_server.h"

namespace {

using test::ber;
using test::ldap_message;
using test::ldap_result;
using test::StubServer;
using test::Text;
using Ending = test::StubServer::Ending;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

// As ldap.conf would have it.
class Limit {
 public:
  Limit(int option, milliseconds limit) : option_(option) {
    const auto count = static_cast<long>(limit.count());
    const timeval value{count / 1000, count % 1000 * 1000};
    ldap_set_option(nullptr, option_, &value);
  }
  ~Limit() {
    const timeval none{-1, 0};
    ldap_set_option(nullptr, option_, &none);
  }
  Limit(const Limit&) = delete;
  Limit& operator=(const Limit&) = delete;
  Limit(Limit&&) = delete;
  Limit& operator=(Limit&&) = delete;

 private:
  int option_;
};

std::string here(const StubServer& server) {
  return "127.0.0.1:" + std::to_string(server.port());
}

constexpr char kSearchDone = 0x65;

class Reconnect : public testing::Test {
 public:
  int connect(const std::string& hosts) {
    return client.ldapClientConnect(Text(hosts), 389);
  }
  int connect_and_bind(const std::string& hosts) {
    return connect(hosts) + client.ldapClientBind(Text("cn=x"), Text("pw"));
  }
  int search(timeval* limit = nullptr) {
    int rc = -1;
    client.srch_free(
        client.ldapClientSearch(nullptr, 2, 0, Text("(cn=x)"), limit, &rc));
    return rc;
  }
  void TearDown() override { client.ldapClientUnbind(); }

  test::LogCapture log;
  ldapClient client;
};

// A limit on the network alone bounds every host that is tried.
TEST_F(Reconnect, AListOfHostsGivesTheFirstThatAnswers) {
  const Limit network(LDAP_OPT_NETWORK_TIMEOUT, milliseconds(200));
  const StubServer silent(0, Ending::kSilence);
  const StubServer closing(0, Ending::kClose);
  const StubServer good(9, Ending::kSilence);
  const std::string refusing = here(StubServer(0, Ending::kClose));
  for (const std::string& first : {refusing, here(silent), here(closing)}) {
    ASSERT_EQ(connect_and_bind(first + " " + here(good)), 0) << first;
    EXPECT_EQ(log.take(), test::LogLines{});
    client.ldapClientUnbind();
  }
  EXPECT_EQ(connect(refusing + " " + here(silent) + " \t" + here(closing)), 4);
  EXPECT_EQ(client.ld, nullptr);
}

TEST_F(Reconnect, GoesBackToTheFirstHostAfterAWhile) {
  const Limit network(LDAP_OPT_NETWORK_TIMEOUT, milliseconds(200));
  const auto interval =
      std::exchange(configapi::quiet_interval, std::chrono::hours(1));
  const StubServer second(99, Ending::kSilence);
  auto first = std::make_unique<StubServer>(99, Ending::kSilence);
  const std::string first_host = here(*first);
  ASSERT_EQ(connect_and_bind(first_host + " " + here(second)), 0);
  const int port = first->port();
  first = nullptr;  // hangs up
  EXPECT_EQ(search(), 1);
  EXPECT_EQ(second.requests(), 3) << "probe, bind, search";
  EXPECT_EQ(search(), 1);
  EXPECT_EQ(second.requests(), 4);

  configapi::quiet_interval = milliseconds(0);
  log.take();
  EXPECT_EQ(search(), 1) << "the first is still away";
  EXPECT_EQ(second.requests(), 5);
  const StubServer again(99, Ending::kSilence, milliseconds(0), port);
  EXPECT_EQ(search(), 1);
  EXPECT_EQ(second.requests(), 5);
  EXPECT_EQ(again.requests(), 3);
  EXPECT_EQ(
      log.take(),
      (test::LogLines{"6 LDAP Client API: ldap_search return nothing",
                      "6 LDAP Client API: reconnected to ldap://" + first_host,
                      "6 LDAP Client API: ldap_search return nothing"}));
  configapi::quiet_interval = interval;
}

// What a server had may have been done, whatever became of the answer.
TEST_F(Reconnect, AWriteIsNeverSentTwice) {
  StubServer server(1, Ending::kClose);  // answers the bind alone
  ASSERT_EQ(connect_and_bind(here(server)), 0);
  server.wait_for_hang_up();
  EXPECT_EQ(client.ldapClientDelete(Text("cn=x")), -1);
  EXPECT_EQ(server.connections(), 2) << "the first was dead before";
  EXPECT_EQ(client.ldapClientDelete(Text("cn=x")), -1);
  EXPECT_EQ(server.connections(), 3);

  const Limit answer(LDAP_OPT_TIMEOUT, milliseconds(200));
  const StubServer silent(1, Ending::kSilence);
  ASSERT_EQ(connect_and_bind(here(silent)), 0);
  EXPECT_EQ(client.ldapClientDelete(Text("cn=x")), -1);
  EXPECT_EQ(silent.requests(), 2);
  EXPECT_EQ(silent.connections(), 1);
}

TEST_F(Reconnect, EveryWaitHasALimit) {
  const Limit answer(LDAP_OPT_TIMEOUT, milliseconds(200));
  const auto half = [](int id, char /*asked*/) {
    return ldap_message(id, kSearchDone, ldap_result(0)).substr(0, 9);
  };
  timeval own{0, 100000};
  for (const int answers : {1, 2}) {
    SCOPED_TRACE(answers);
    const StubServer server =
        answers == 1 ? StubServer(1, Ending::kSilence) : StubServer(1, half);
    test::AttrRecords list({{0, "cn", "x"}});
    const struct {
      const char* what;
      int result;
      std::function<int()> run;
    } rows[] = {
        {"search", 1, [&] { return search(); }},
        {"search with a limit", 1, [&] { return search(&own); }},
        {"add", -1,
         [&] { return client.ldapClientAdd(Text("cn=x"), list.list()); }},
        {"modify", LDAP_TIMEOUT,
         [&] { return client.ldapClientModify(Text("cn=x"), list.list()); }},
        {"delete", -1, [&] { return client.ldapClientDelete(Text("cn=x")); }},
        {"rename", -1,
         [&] { return client.ldapClientModRDN(Text("cn=x"), Text("y")); }},
        {"compare", -1,
         [&] {
           return client.ldapClientCompare(Text("cn=x"), Text("a"), Text("b"));
         }},
    };
    for (const auto& row : rows) {
      SCOPED_TRACE(row.what);
      ASSERT_EQ(connect_and_bind(here(server)), 0);
      const auto start = steady_clock::now();
      EXPECT_EQ(row.run(), row.result);
      EXPECT_GE(steady_clock::now() - start, milliseconds(90));
      client.ldapClientUnbind();
    }
  }
}

TEST_F(Reconnect, ConnectingHasALimitInsideOfTlsToo) {
  const Limit network(LDAP_OPT_NETWORK_TIMEOUT, milliseconds(200));
  const StubServer silent(0, Ending::kSilence);
  for (const std::string& uri :
       {"ldaps://" + here(silent), "ldap://" + here(silent) +
                                       "/???"
                                       "?!StartTLS"}) {
    EXPECT_EQ(connect(uri), 4);
    EXPECT_EQ(log.take(),
              test::LogLines{"1 LDAP Client API: ldap_open error: errno=" +
                             std::to_string(ETIMEDOUT)});
  }
}

// More than the sockets hold, for a server that takes the beginning.
TEST_F(Reconnect, SendingHasALimit) {
  const Limit network(LDAP_OPT_NETWORK_TIMEOUT, milliseconds(200));
  const Limit answer(LDAP_OPT_TIMEOUT, milliseconds(100));
  std::atomic<bool> over = false;
  const StubServer stalled(1, [&over](int /*id*/, char /*asked*/) {
    over.wait(false);
    return std::string();
  });
  ASSERT_EQ(connect_and_bind(here(stalled)), 0);
  test::AttrRecords list(
      std::vector<test::AttrValue>(16000, {0, "cn", std::string(511, 'x')}));
  EXPECT_NE(client.ldapClientModify(Text("cn=x"), list.list()), 0);
  over = true;
  over.notify_all();
}

// A search with a limit of its own says nothing about the server; the next
// request finds out.
TEST_F(Reconnect, LeavesAServerThatDoesNotAnswerAnyMore) {
  const Limit network(LDAP_OPT_NETWORK_TIMEOUT, milliseconds(200));
  const StubServer stalled(2, Ending::kSilence);
  const StubServer second(99, Ending::kSilence);
  ASSERT_EQ(connect_and_bind(here(stalled) + " " + here(second)), 0);
  timeval own{0, 100000};
  EXPECT_EQ(search(&own), 1);
  EXPECT_EQ(second.requests(), 0);
  EXPECT_EQ(client.ldapClientDelete(Text("cn=x")), 0);
  EXPECT_EQ(second.requests(), 3) << "probe, bind, delete";
}

// One whose root entry answers, and nothing else: a database that stalls.
TEST_F(Reconnect, AsksAnotherHostWhereOneAnswersNoRequest) {
  const Limit network(LDAP_OPT_NETWORK_TIMEOUT, milliseconds(200));
  const Limit answer(LDAP_OPT_TIMEOUT, milliseconds(200));
  const StubServer stalled(1, Ending::kSilence);
  const StubServer second(2, Ending::kSilence);
  ASSERT_EQ(connect(here(stalled) + " " + here(second)), 0);
  EXPECT_EQ(search(), 1);
  EXPECT_EQ(second.requests(), 2) << "probe, search";
  EXPECT_EQ(search(), 1) << "now neither answers it";
  EXPECT_EQ(client.ldapClientDelete(Text("cn=x")), 0) << "asked before it";
}

TEST_F(Reconnect, AReferralIsNotFollowed) {
  const StubServer elsewhere(9, Ending::kSilence);
  const std::string uri = "ldap://" + here(elsewhere) + "/";
  const StubServer server(1, [&](int id, char /*asked*/) {
    return ldap_message(id, kSearchDone,
                        ldap_result(10) + ber('\xa3', ber('\x04', uri)));
  });
  ASSERT_EQ(connect_and_bind(here(server)), 0);
  EXPECT_EQ(search(), 1);
  EXPECT_EQ(elsewhere.connections(), 0);
}

}  // namespace
