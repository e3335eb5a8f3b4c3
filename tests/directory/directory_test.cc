// Who may do what on the private server, and so with the access rules that the
// documents give.

#include <string>

#include "support/client_test.h"

namespace {

using test::Lines;
using test::Text;

class PrivateDirectory : public test::ClientTest {};

TEST_F(PrivateDirectory, ShowsSettingsToTheGatewayOnly) {
  const Lines found = {"cn=Ldap", "Password: Secret"};
  ASSERT_EQ(add("cn=Ldap", {{0, "Password", "Secret"}}), 0);
  EXPECT_EQ(find("", 2, "(qxSetting=Secret)", "Password"), found);
  EXPECT_EQ(find("", 2, "(qxSetting=secret)", "Password"), Lines{})
      << "letter case counts";
  EXPECT_EQ(client.ldapClientDelete(Text(directory().bind_dn())), -1);
  EXPECT_EQ(find("", 2, "(uid=gateway)", "uid"), Lines{}) << "its own entry";

  ASSERT_EQ(bind(client, "", ""), 0) << "anonymous";
  EXPECT_EQ(find("", 2, "(cn=Ldap)", "cn"), Lines{});
  EXPECT_EQ(find("", 2, "(Password=Secret)", "cn"), Lines{});
  EXPECT_EQ(add("cn=Options"), -1);
  EXPECT_EQ(client.ldapClientDelete(Text("cn=Ldap")), -1);

  ASSERT_EQ(bind(client, directory().bind_dn(), directory().password()), 0);
  EXPECT_EQ(find("", 2, "(cn=*)", "Password"), found);
}

}  // namespace
