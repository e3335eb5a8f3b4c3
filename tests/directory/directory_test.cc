#include "support/directory.h"

#include <gtest/gtest.h>
#include <ldap.h>

#include <array>
#include <string>

namespace {

// What an administrator's own programs use: libldap, without our client.
class PrivateDirectory : public test::DirectoryTest {
 protected:
  void SetUp() override {
    DirectoryTest::SetUp();
    if (IsSkipped() || HasFailure()) {
      return;
    }
    const std::string url = "ldap://" + directory().host() + ":" +
                            std::to_string(directory().port());
    ASSERT_EQ(ldap_initialize(&session_, url.c_str()), LDAP_SUCCESS);
    const int version = LDAP_VERSION3;
    ldap_set_option(session_, LDAP_OPT_PROTOCOL_VERSION, &version);
  }

  void TearDown() override {
    if (session_ != nullptr) {
      ldap_unbind_ext(session_, nullptr, nullptr);
    }
  }

  int bind(const std::string& name, std::string password) {
    berval credentials{password.size(), password.data()};
    return ldap_sasl_bind_s(session_, name.c_str(), LDAP_SASL_SIMPLE,
                            &credentials, nullptr, nullptr, nullptr);
  }

  int bind_as_gateway() {
    return bind(directory().bind_dn(), directory().password());
  }

  // A section with one setting.
  int add(const char* name) {
    std::array<std::string, 4> texts{"objectClass", "qxconfig", "Password",
                                     "Secret"};
    std::array<char*, 2> classes{texts[1].data(), nullptr};
    std::array<char*, 2> values{texts[3].data(), nullptr};
    LDAPMod object_class{LDAP_MOD_ADD, texts[0].data(), {classes.data()}};
    LDAPMod setting{LDAP_MOD_ADD, texts[2].data(), {values.data()}};
    std::array<LDAPMod*, 3> list{&object_class, &setting, nullptr};
    return ldap_add_ext_s(session_, name, list.data(), nullptr, nullptr);
  }

  int remove(const char* name) {
    return ldap_delete_ext_s(session_, name, nullptr, nullptr);
  }

  int count(const char* filter) {
    LDAPMessage* list = nullptr;
    ldap_search_ext_s(session_, "", LDAP_SCOPE_SUBTREE, filter, nullptr, 0,
                      nullptr, nullptr, nullptr, 0, &list);
    const int entries = ldap_count_entries(session_, list);
    ldap_msgfree(list);
    return entries;
  }

 private:
  LDAP* session_ = nullptr;
};

TEST_F(PrivateDirectory, ShowsSettingsToTheGatewayOnly) {
  ASSERT_EQ(bind_as_gateway(), LDAP_SUCCESS);
  ASSERT_EQ(add("cn=Ldap"), LDAP_SUCCESS);
  EXPECT_EQ(count("(cn=Ldap)"), 1);
  EXPECT_EQ(count("(qxSetting=Secret)"), 1);
  EXPECT_EQ(count("(qxSetting=secret)"), 0) << "letter case counts";

  ASSERT_EQ(bind("", ""), LDAP_SUCCESS) << "anonymous";
  EXPECT_EQ(count("(cn=Ldap)"), 0);
  EXPECT_EQ(count("(Password=Secret)"), 0);
  EXPECT_NE(add("cn=Options"), LDAP_SUCCESS);
  EXPECT_NE(remove("cn=Ldap"), LDAP_SUCCESS);
  EXPECT_EQ(bind(directory().bind_dn(), "wrong"), LDAP_INVALID_CREDENTIALS);
}

TEST_F(PrivateDirectory, KeepsTheGatewayFromItsOwnEntry) {
  ASSERT_EQ(bind_as_gateway(), LDAP_SUCCESS);
  EXPECT_EQ(remove(directory().bind_dn().c_str()), LDAP_INSUFFICIENT_ACCESS);
  EXPECT_EQ(count("(uid=gateway)"), 0);
}

TEST_F(PrivateDirectory, IsEmptyAgainAfterClear) {
  ASSERT_EQ(bind_as_gateway(), LDAP_SUCCESS);
  ASSERT_EQ(add("cn=Ldap"), LDAP_SUCCESS);
  ASSERT_EQ(add("cn=Inner,cn=Ldap"), LDAP_SUCCESS);
  ASSERT_EQ(count("(objectClass=qxconfig)"), 2);
  directory().clear();
  EXPECT_EQ(count("(objectClass=*)"), 0);
  EXPECT_EQ(bind_as_gateway(), LDAP_SUCCESS);
}

}  // namespace
