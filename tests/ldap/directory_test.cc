// Against a real server.

#include <configapi/ldapclient.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "base/heap_text.h"
#include "ldap/client_text.h"
#include "support/directory.h"
#include "support/log_capture.h"

namespace {

using test::Text;
using Lines = std::vector<std::string>;

struct Value {
  int op;
  const char* name;
  const char* value;
};

class LdapClient : public test::DirectoryTest {
 public:
  void SetUp() override {
    DirectoryTest::SetUp();
    if (IsSkipped() || HasFailure()) {
      return;
    }
    ASSERT_EQ(connect(client), 0);
    ASSERT_EQ(client.ldapClientBind(Text(directory().bind_dn()),
                                    Text(directory().password())),
              0);
  }

  void TearDown() override { client.ldapClientUnbind(); }

  int connect(ldapClient& to) const {
    return to.ldapClientConnect(Text(directory().host()), directory().port());
  }

  // The caller's list for add and modify, in records of its own.
  attrval* list(const std::vector<Value>& values) {
    records.assign(values.size() + 1, attrval{});
    for (std::size_t i = 0; i < values.size(); ++i) {
      records[i].op = values[i].op;
      std::string_view(values[i].name).copy(records[i].name, 63);
      std::string_view(values[i].value).copy(records[i].value, 511);
      records[i].next = &records[i + 1];
    }
    return records.data();
  }

  int add(std::string_view dn, const std::vector<Value>& values) {
    return client.ldapClientAdd(Text(dn), list(values));
  }
  int modify(std::string_view dn, const std::vector<Value>& values) {
    return client.ldapClientModify(Text(dn), list(values));
  }

  // What the filter finds below the base: each entry's name, and its values of
  // the one attribute.
  Lines find(std::string_view base, int scope, std::string_view filter,
             std::string_view attribute) {
    Text type(attribute);
    char* types[] = {type, nullptr};
    SearchReq* found =
        client.ldapClientSearch(Text(base), scope, 0, Text(filter), types, &rc);
    Lines lines;
    for (const SearchReq* entry = found;
         entry != nullptr && entry->next != nullptr; entry = entry->next) {
      lines.emplace_back(entry->dn);
      for (const attrval* value = entry->attrs; value->next != nullptr;
           value = value->next) {
        lines.push_back(std::string(value->name) + ": " + value->value);
      }
    }
    client.srch_free(found);
    return lines;
  }

  std::string read(std::string_view section, std::string_view key) {
    const configapi::HeapText value(
        client.ldapGetProfileString(Text(section), Text(key)));
    return value != nullptr ? value.get() : "(none)";
  }
  std::string read_with_code(std::string_view section, std::string_view key) {
    const configapi::HeapText value(
        client.ldapGetProfileString(Text(section), Text(key), &rc));
    return value != nullptr ? value.get() : "(none)";
  }
  int write(std::string_view section, std::string_view key,
            std::string_view value) {
    return client.ldapWriteProfileString(Text(section), Text(key), Text(value));
  }

  test::LogCapture log;
  ldapClient client;
  int rc = -1;
  std::vector<attrval> records;
};

std::vector<Value> joe() {
  return {{0, "objectclass", "qxconfig"},
          {0, "cn", "Joe"},
          {0, "AddressFile", "one"},
          {0, "AddressFile", "two"},
          {0, "AddressFile", "three"}};
}

TEST_F(LdapClient, BindsOnlyWithTheRightPassword) {
  EXPECT_EQ(client.bindDN, directory().bind_dn());
  ldapClient stranger;
  ASSERT_EQ(connect(stranger), 0);
  EXPECT_EQ(stranger.ldapClientBind(nullptr, nullptr), 0) << "anonymous";
  log.take();
  EXPECT_EQ(stranger.ldapClientBind(Text(directory().bind_dn()), Text("no")),
            4);
  EXPECT_EQ(stranger.ld, nullptr);
  EXPECT_EQ(log.take(), Lines{"1 LDAP Client API: Error on ldap_resul2error"});
  // A name without a password would bind as nobody (RFC 4513 section 5.1.2).
  ASSERT_EQ(connect(stranger), 0);
  EXPECT_EQ(stranger.ldapClientBind(Text(directory().bind_dn()), nullptr), 4);
}

TEST_F(LdapClient, AddsFindsComparesAndDeletes) {
  ASSERT_EQ(add("cn=Joe", joe()), 0);
  ASSERT_EQ(add("cn=Below,cn=Joe", {{0, "objectclass", "qxconfig"}}), 0);
  EXPECT_EQ(find("", 2, "(AddressFile=two)", "addressfile"),
            (Lines{"cn=Joe", "AddressFile: one", "AddressFile: two",
                   "AddressFile: three"}));
  EXPECT_EQ(find("cn=Joe", 0, "(cn=*)", "cn"), (Lines{"cn=Joe", "cn: Joe"}));
  EXPECT_EQ(find("cn=Joe", 1, "(cn=*)", "cn"),
            (Lines{"cn=Below,cn=Joe", "cn: Below"}));
  EXPECT_EQ(find("cn=Joe", 2, "(cn=*)", "AddressFile").size(), 5U);
  EXPECT_EQ(find("cn=Below,cn=Joe", 0, "(cn=*)", "AddressFile"),
            Lines{"cn=Below,cn=Joe"})
      << "an entry without values";
  log.take();

  const auto compare = [this](const char* attribute, const char* value) {
    return client.ldapClientCompare(Text("cn=Joe"), Text(attribute),
                                    Text(value));
  };
  EXPECT_EQ(compare("AddressFile", "three"), 0);
  EXPECT_EQ(log.take(),
            Lines{"6 LDAP Client API: same value for compare operation"});
  EXPECT_EQ(compare("AddressFile", "four"), -1);
  EXPECT_EQ(compare("LogDirectory", "one"), -1) << "it has none";
  EXPECT_EQ(log.take().size(), 2U);

  EXPECT_EQ(add("cn=Joe", joe()), -1) << "it is there";
  EXPECT_EQ(client.ldapClientDelete(Text("cn=Joe")), -1) << "not a leaf";
  EXPECT_EQ(client.ldapClientDelete(Text("cn=Below,cn=Joe")), 0);
  EXPECT_EQ(client.ldapClientDelete(Text("cn=Joe")), 0);
  EXPECT_EQ(find("", 2, "(cn=Joe)", "cn"), Lines{});
  EXPECT_EQ(rc, 1);
}

TEST_F(LdapClient, ModifiesAllOrNothing) {
  ASSERT_EQ(add("cn=Joe", joe()), 0);
  EXPECT_EQ(modify("cn=Joe", {{1, "AddressFile", "two"},
                              {0, "AddressFile", "four"},
                              {2, "LogDirectory", "yes"}}),
            0);
  EXPECT_EQ(find("cn=Joe", 0, "(cn=*)", "AddressFile"),
            (Lines{"cn=Joe", "AddressFile: one", "AddressFile: three",
                   "AddressFile: four"}));
  EXPECT_EQ(modify("cn=Joe", {{2, "AddressFile", "none"},
                              {1, "AddressFile", "not there"}}),
            16);
  EXPECT_EQ(find("cn=Joe", 0, "(cn=*)", "AddressFile").size(), 4U);
  EXPECT_EQ(modify("cn=Jim", {{2, "AddressFile", "x"}}), 32);
  EXPECT_EQ(log.take(),
            (Lines{"1 LDAP Client API: ldap_modify operation failed",
                   "1 LDAP Client API: ldap_modify operation failed"}));
}

TEST_F(LdapClient, CarriesFullFieldsAndCutsALongNameBetweenCharacters) {
  std::string above = "cn=";
  for (int i = 0; i < 100; ++i) {
    above += "\u00e9";
  }
  const std::string name = "cn=" + std::string(61, 'n') + "," + above;
  const std::string value(511, 'v');
  ASSERT_EQ(add(above, {{0, "objectclass", "qxconfig"}}), 0);
  ASSERT_EQ(add(name, {{0, "objectclass", "qxconfig"},
                       {0, "AddressFile", value.c_str()}}),
            0);
  EXPECT_EQ(find(above, 1, "(cn=*)", "AddressFile"),
            (Lines{name.substr(0, 254), "AddressFile: " + value}));
}

TEST_F(LdapClient, RenamesWithEachFormOfName) {
  ASSERT_EQ(add("cn=Top", {{0, "objectclass", "qxconfig"}}), 0);
  const struct {
    const char* from;
    const char* name;
    const char* to;
  } rows[] = {
      {"cn=Joe,cn=Top", "cn=Jim,cn=Top", "cn=Jim,cn=Top"},
      {"cn=Jim,cn=Top", "cn=Jack", "cn=Jack,cn=Top"},
      {"cn=Jack,cn=Top", "Jörg", "cn=Jörg,cn=Top"},
  };
  ASSERT_EQ(add("cn=Joe,cn=Top", joe()), 0);
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(client.ldapClientModRDN(Text(row.from), Text(row.name)), 0);
    const std::string value =
        std::string(row.to).substr(3, std::string_view(row.to).find(',') - 3);
    EXPECT_EQ(find("cn=Top", 1, "(objectclass=*)", "cn"),
              (Lines{row.to, "cn: " + value}));
  }
  log.take();
  EXPECT_EQ(client.ldapClientModRDN(Text("cn=Joe,cn=Top"), Text("Jim")), -1);
  EXPECT_EQ(log.take(),
            (Lines{"1 LDAP Client API: ldap_modify operation failed",
                   "1 LDAP Client API: ldap_modrdn CN modification failed"}));
  ASSERT_EQ(add("cn=Joe,cn=Top", joe()), 0);
  EXPECT_EQ(client.ldapClientModRDN(Text("cn=Joe,cn=Top"), Text("Jörg")), -1);
  EXPECT_EQ(log.take(),
            (Lines{"1 LDAP Client API: ldap_modify operation failed",
                   "1 LDAP Client API: ldap_modrdn failed"}));
  EXPECT_EQ(find("cn=Joe,cn=Top", 0, "(cn=Joe)", "cn"),
            (Lines{"cn=Joe,cn=Top", "cn: Joe"}));
}

TEST_F(LdapClient, AReferralToADeadServerEndsNothing) {
  // Searches go on; what addresses the referral itself fails.
  ASSERT_EQ(add("cn=Elsewhere", {{0, "objectclass", "referral"},
                                 {0, "objectclass", "extensibleObject"},
                                 {0, "cn", "Elsewhere"},
                                 {0, "ref", "ldap://127.0.0.1:1/cn=x"}}),
            0);
  ASSERT_EQ(write("MAIL", "SmtpdPort", "25"), 0);
  EXPECT_EQ(find("", 2, "(cn=MAIL)", "SmtpdPort"),
            (Lines{"cn=MAIL", "SmtpdPort: 25"}));
  EXPECT_EQ(client.ldapClientDelete(Text("cn=Elsewhere")), -1);
  EXPECT_EQ(write("Elsewhere", "SmtpdPort", "25"), -1);
  EXPECT_EQ(read("MAIL", "SmtpdPort"), "25");
}

TEST_F(LdapClient, ProfileStringsCountTheirWrites) {
  ASSERT_EQ(write("MAIL", "SmtpdPort", "25"), 0);
  EXPECT_EQ(find("", 2, "(cn=MAIL)", "ConfigSerial"),
            (Lines{"cn=MAIL", "ConfigSerial: 0"}));
  EXPECT_EQ(find("cn=MAIL", 0, "(objectclass=qxconfig)", "cn"),
            (Lines{"cn=MAIL", "cn: MAIL"}));
  ASSERT_EQ(write("mail", "smtpdport", "2525"), 0);
  EXPECT_EQ(find("", 2, "(cn=MAIL)", "ConfigSerial"),
            (Lines{"cn=MAIL", "ConfigSerial: 1"}));
  EXPECT_EQ(read("MAIL", "SMTPDPORT"), "2525");
  EXPECT_EQ(read_with_code("MAIL", "smtpdPort"), "2525");
  EXPECT_EQ(rc, 0);

  const struct {
    std::vector<Value> present;
    const char* next;
  } rows[] = {
      {{{2, "ConfigSerial", "-7"}}, "1"},
      {{{2, "ConfigSerial", "never"}}, "1"},
      {{{2, "ConfigSerial", "41"}}, "42"},
  };
  for (const auto& row : rows) {
    ASSERT_EQ(modify("cn=MAIL", row.present), 0);
    ASSERT_EQ(write("MAIL", "SmtpdPort", "25"), 0);
    EXPECT_EQ(read("MAIL", "ConfigSerial"), row.next);
  }
  ASSERT_EQ(add("cn=Joe", joe()), 0);
  ASSERT_EQ(write("Joe", "SmtpdPort", "25"), 0);
  EXPECT_EQ(read("Joe", "ConfigSerial"), "0") << "the entry first gets it";
}

TEST_F(LdapClient, ProfileReadsTellAMissingEntryFromAMissingKey) {
  ASSERT_EQ(write("MAIL", "SmtpdPort", "25"), 0);
  ASSERT_EQ(modify("cn=MAIL", {{0, "SmtpdPort", "587"}}), 0);
  EXPECT_EQ(read("MAIL", "SmtpdPort"), "25") << "the first of two";
  log.take();
  EXPECT_EQ(read("MAIL", "LogDirectory"), "(none)");
  EXPECT_EQ(log.take(), Lines{});
  const std::string no_values =
      "6 LDAP Client API: ldapGetProfileString: no values found";
  EXPECT_EQ(read_with_code("MAIL", "LogDirectory"), "(none)");
  EXPECT_EQ(rc, 1);
  EXPECT_EQ(log.take(), (Lines{"6 LDAP Client API: ldap_search return nothing",
                               no_values}));
  EXPECT_EQ(read_with_code("NOWHERE", "SmtpdPort"), "(none)");
  EXPECT_EQ(rc, 1);
  EXPECT_EQ(log.take(),
            (Lines{"1 LDAP Client API: ldap_search failed", no_values}));
  EXPECT_EQ(write("MAIL", "NoSuchKey", "x"), -1);
  EXPECT_EQ(log.take().back(),
            "1 LDAP Client API: ldapWriteProfileString failed");
}

// A section may be called anything, and is found again under that name alone.
TEST_F(LdapClient, OddSectionNamesStandForThemselves) {
  const std::string names[] = {"MAIL",         "*",
                               "a,b",          "a+b",
                               "cn=a",         R"(a\b)",
                               R"("quote")",   "(paren)",
                               "#1",           "#04",
                               " leading",     "trailing ",
                               "<a;b>",        "Größe €",
                               R"(\2a)",       "a  b",
                               "MAIL,cn=MAIL", std::string(200, 's')};
  for (const std::string& name : names) {
    SCOPED_TRACE(name);
    EXPECT_EQ(write(name, "HelpFile", name), 0);
  }
  for (const std::string& name : names) {
    SCOPED_TRACE(name);
    EXPECT_EQ(read(name, "HelpFile"), name);
    EXPECT_EQ(read(name, "ConfigSerial"), "0");
    if (name.size() <= 57) {
      EXPECT_EQ(read_with_code(name, "HelpFile"), name);
    }
    EXPECT_EQ(write(name, "HelpFile", "again"), 0);
    EXPECT_EQ(read(name, "ConfigSerial"), "1");
  }
  EXPECT_EQ(find("", 2, "(objectclass=qxconfig)", "ConfigSerial").size(),
            2 * std::size(names));
}

TEST_F(LdapClient, TwoSessionsSeeOneDirectory) {
  ASSERT_EQ(write("MAIL", "SmtpdPort", "25"), 0);
  ASSERT_EQ(connect(client), 0) << "the old session is closed first";
  EXPECT_EQ(read("MAIL", "SmtpdPort"), "(none)") << "not bound";
  ASSERT_EQ(client.ldapClientBind(client.bindDN, client.bindPassword), 0);
  EXPECT_EQ(read("MAIL", "SmtpdPort"), "25");
}

}  // namespace
