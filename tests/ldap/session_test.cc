// Connect, bind and unbind.

#include <configapi/internals.h>

#include <cerrno>
#include <cstring>
#include <string>
#include <string_view>

#include "ldap/fake_session.h"

namespace {

using test::Lines;
using test::Text;

class Session : public test::FakeSession {};

TEST_F(Session, ConnectsToTheUsualPlaceUnlessToldOtherwise) {
  const std::string longest(63, 'h');
  const struct {
    const char* host;
    int port;
    std::string opened;
  } rows[] = {
      {nullptr, 0, "open localhost 389"},
      {nullptr, -1, "open localhost 389"},
      {"directory.example", 1389, "open directory.example 1389"},
      {longest.c_str(), 389, "open " + longest + " 389"},
  };
  for (const auto& row : rows) {
    ldapClient fresh;
    EXPECT_EQ(fresh.ld, nullptr);
    errno = EINTR;
    char* host = nullptr;
    const Text given(row.host != nullptr ? row.host : "");
    if (row.host != nullptr) {
      host = given;
    }
    EXPECT_EQ(fresh.ldapClientConnect(host, row.port), 0);
    EXPECT_NE(fresh.ld, nullptr);
    EXPECT_EQ(fresh.cacheEnabled, 0);
    EXPECT_EQ(fake.take_calls(),
              (Lines{row.opened, "version 3", "restart on"}));
    fresh.ldapClientUnbind();
    EXPECT_EQ(fresh.ld, nullptr);
    fresh.ldapClientUnbind();
    EXPECT_EQ(fake.take_calls(), Lines{"unbind"});
  }
  EXPECT_EQ(log.take(), Lines{});
}

TEST_F(Session, SaysWhyItCannotConnect) {
  fake.open_errno = ECONNREFUSED;
  EXPECT_EQ(client.ldapClientConnect(nullptr, 0), 4);
  EXPECT_EQ(client.ld, nullptr);
  EXPECT_EQ(log.take(), Lines{error("ldap_open error: errno=111")});
}

TEST_F(Session, ClosesTheOldConnectionFirst) {
  connect();
  EXPECT_EQ(client.ldapClientConnect(Text("other"), 1), 0);
  EXPECT_EQ(fake.take_calls(),
            (Lines{"unbind", "open other 1", "version 3", "restart on"}));
}

TEST_F(Session, RefusesAHostNameThatIsTooLong) {
  connect();
  EXPECT_EQ(client.ldapClientConnect(Text(std::string(64, 'h')), 0), 4);
  EXPECT_EQ(client.ld, nullptr);
  EXPECT_EQ(fake.take_calls(), Lines{"unbind"});
  EXPECT_EQ(log.take(), Lines{error("ldap_open error: errno=" +
                                    std::to_string(ENAMETOOLONG))});
}

TEST_F(Session, RemembersWhatItBoundWith) {
  connect();
  const std::string longest(63, 'p');
  EXPECT_EQ(client.ldapClientBind(Text("uid=gateway"), Text(longest)), 0);
  EXPECT_EQ(fake.take_calls(),
            (Lines{"bind uid=gateway " + longest, "result 7 within 360.0"}));
  EXPECT_STREQ(client.bindDN, "uid=gateway");
  EXPECT_EQ(client.bindPassword, longest);

  // Null keeps what was there, an empty text does not.
  EXPECT_EQ(client.ldapClientBind(nullptr, Text("")), 0);
  EXPECT_STREQ(client.bindDN, "uid=gateway");
  const char zeros[sizeof client.bindPassword] = {};
  EXPECT_EQ(std::memcmp(client.bindPassword, zeros, sizeof zeros), 0);
  EXPECT_EQ(log.take(), Lines{});
}

TEST_F(Session, BindsAgainWithItsOwnTexts) {
  connect();
  ASSERT_EQ(client.ldapClientBind(Text("uid=gateway"), Text("secret")), 0);
  EXPECT_EQ(client.ldapClientBind(client.bindDN, client.bindPassword), 0);
  EXPECT_STREQ(client.bindDN, "uid=gateway");
  EXPECT_STREQ(client.bindPassword, "secret");
}

TEST_F(Session, AFailedBindClosesTheConnection) {
  const struct {
    int bind_id;
    int result_type;
    int bind_code;
    Lines calls;
    const char* line;
  } rows[] = {
      {-1, 0x61, 0, {"bind dn pw", "unbind"}, "ldap_bind error"},
      {7,
       -1,
       0,
       {"bind dn pw", "result 7 within 360.0", "unbind"},
       "Error on server result"},
      {7,
       0,
       0,
       {"bind dn pw", "result 7 within 360.0", "abandon 7", "unbind"},
       "Timed-out"},
      {7,
       0x61,
       49,
       {"bind dn pw", "result 7 within 360.0", "unbind"},
       "Error on ldap_resul2error"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.line);
    connect();
    fake.bind_id = row.bind_id;
    fake.result_type = row.result_type;
    fake.bind_code = row.bind_code;
    ASSERT_EQ(std::string_view("earlier").copy(client.bindDN, 63), 7U);
    EXPECT_EQ(client.ldapClientBind(Text("dn"), Text("pw")), 4);
    EXPECT_EQ(client.ld, nullptr);
    EXPECT_STREQ(client.bindDN, "earlier");
    EXPECT_EQ(fake.take_calls(), row.calls);
    EXPECT_EQ(log.take(), Lines{error(row.line)});
    client.ldapClientUnbind();
    EXPECT_EQ(fake.take_calls(), Lines{});
  }
}

TEST_F(Session, RefusesToBindWithATextThatIsTooLong) {
  const std::string too_long(64, 'x');
  for (const bool dn_is_long : {true, false}) {
    connect();
    EXPECT_EQ(client.ldapClientBind(Text(dn_is_long ? too_long : "dn"),
                                    Text(dn_is_long ? "pw" : too_long)),
              4);
    EXPECT_EQ(client.ld, nullptr);
    EXPECT_STREQ(client.bindDN, "");
    EXPECT_EQ(fake.take_calls(), Lines{"unbind"});
    EXPECT_EQ(log.take(), Lines{error("ldap_bind error")});
  }
}

// libldap aborts the process when it is handed no connection.
TEST_F(Session, EveryOperationNeedsAConnection) {
  attrval end{};
  attrval value{.op = 0, .name = "cn", .value = "x", .next = &end};
  int rc = 0;
  EXPECT_EQ(client.ldapClientSearch(nullptr, 2, 0, Text("(cn=x)"), &rc),
            nullptr);
  EXPECT_EQ(rc, 4);
  EXPECT_EQ(log.take(), Lines{});

  EXPECT_EQ(client.ldapClientBind(nullptr, nullptr), 4);
  EXPECT_EQ(log.take(), Lines{error("ldap_bind error")});
  EXPECT_EQ(client.ldapClientAdd(Text("cn=x"), &value), -1);
  EXPECT_EQ(log.take(), Lines{error("ldap_add operation failed")});
  EXPECT_EQ(client.ldapClientModify(Text("cn=x"), &value), -1);
  EXPECT_EQ(log.take(), Lines{error("ldap_modify operation failed")});
  EXPECT_EQ(client.ldapClientDelete(Text("cn=x")), -1);
  EXPECT_EQ(log.take(), Lines{error("ldap_delete failed")});
  EXPECT_EQ(client.ldapClientModRDN(Text("cn=x"), Text("y")), -1);
  EXPECT_EQ(log.take(), (Lines{error("ldap_modify operation failed"),
                               error("ldap_modrdn CN modification failed")}));
  EXPECT_EQ(client.ldapClientCompare(Text("cn=x"), Text("cn"), Text("x")), -1);
  EXPECT_EQ(log.take(), Lines{info("different value for compare operation")});
  EXPECT_EQ(client.ldapGetProfileString(Text("MAIL"), Text("Key"), &rc),
            nullptr);
  EXPECT_EQ(rc, 4);
  EXPECT_EQ(log.take(), Lines{info("ldapGetProfileString: no values found")});
  EXPECT_EQ(client.ldapWriteProfileString(Text("MAIL"), Text("Key"), Text("x")),
            -1);
  EXPECT_EQ(log.take(), (Lines{error("ldap_modify operation failed"),
                               error("ldapWriteProfileString failed")}));
  EXPECT_EQ(fake.take_calls(), Lines{});
}

}  // namespace
