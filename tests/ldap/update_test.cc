// Add, modify, delete, rename, compare, and the arrays that they send.

#include <configapi/internals.h>
#include <ldap.h>

#include <cstring>
#include <deque>
#include <string>
#include <string_view>

#include "ldap/fake_session.h"
#include "support/alloc_fault.h"

namespace {

using test::Lines;
using test::Text;

// A caller's list; one without records holds only its end.
class Values {
 public:
  Values& add(int op, std::string_view name, std::string_view value) {
    attrval& record = records_.back();
    record.op = op;
    std::memcpy(record.name, name.data(), name.size());
    std::memcpy(record.value, value.data(), value.size());
    record.next = &records_.emplace_back();
    return *this;
  }
  attrval* list() { return &records_.front(); }

 private:
  std::deque<attrval> records_ = std::deque<attrval>(1);
};

class Update : public test::FakeSession {
 public:
  void SetUp() override { connect(); }
};

TEST_F(Update, SendsTheRecordsInOrder) {
  Values values;
  values.add(LDAP_MOD_DELETE, "mail", "")
      .add(LDAP_MOD_REPLACE, "cn", "Joe")
      .add(LDAP_MOD_ADD, "sn", "Doe");
  EXPECT_EQ(client.ldapClientModify(Text("cn=x"), values.list()), 0);
  EXPECT_EQ(client.ldapClientAdd(Text("cn=x"), values.list()), 0);
  EXPECT_EQ(fake.take_calls(),
            (Lines{"modify cn=x: delete mail=, replace cn=Joe, add sn=Doe",
                   "add cn=x: add mail=, add cn=Joe, add sn=Doe"}));
  EXPECT_EQ(log.take(), Lines{});
}

TEST_F(Update, AnAddNamesEachTypeOnce) {
  Values values;
  values.add(0, "mail", "a")
      .add(0, "cn", "Joe")
      .add(0, "MAIL", "b")
      .add(0, "mails", "c");
  EXPECT_EQ(client.ldapClientAdd(Text("cn=x"), values.list()), 0);
  EXPECT_EQ(client.ldapClientModify(Text("cn=x"), values.list()), 0);
  EXPECT_EQ(fake.take_calls(),
            (Lines{"add cn=x: add mail=a=b, add cn=Joe, add mails=c",
                   "modify cn=x: add mail=a, add cn=Joe, add MAIL=b, "
                   "add mails=c"}));
}

TEST_F(Update, ReadsNoFieldPastItsEnd) {
  const std::string name(sizeof(attrval::name), 'n');
  const std::string value(sizeof(attrval::value), 'v');
  Values values;
  values.add(0, name, value);
  EXPECT_EQ(client.ldapClientAdd(Text("cn=x"), values.list()), 0);
  EXPECT_EQ(fake.take_calls(), Lines{"add cn=x: add " + name + "=" + value});
}

TEST_F(Update, SendsNothingForAListWithoutValues) {
  Values empty;
  EXPECT_EQ(client.ldapClientAdd(Text("cn=x"), empty.list()), -1);
  EXPECT_EQ(client.ldapClientModify(Text("cn=x"), empty.list()), -1);
  EXPECT_EQ(fake.take_calls(), Lines{});
  EXPECT_EQ(log.take(), (Lines{error("ldap_add operation failed"),
                               error("ldap_modify operation failed")}));
}

TEST_F(Update, ReportsWhatTheServerRefuses) {
  Values values;
  values.add(0, "cn", "Joe");
  fake.codes = {68, 32, 66};
  EXPECT_EQ(client.ldapClientAdd(Text("cn=x"), values.list()), -1);
  EXPECT_EQ(client.ldapClientModify(Text("cn=x"), values.list()), 32);
  EXPECT_EQ(client.ldapClientDelete(Text("cn=x")), -1);
  EXPECT_EQ(client.ldapClientDelete(Text("cn=x")), 0);
  EXPECT_EQ(log.take(), (Lines{error("ldap_add operation failed"),
                               error("ldap_modify operation failed"),
                               error("ldap_delete failed")}));
}

TEST_F(Update, ComparesOnTheServer) {
  const struct {
    int code;
    int result;
    const char* line;
  } rows[] = {
      {LDAP_COMPARE_TRUE, 0, "same value for compare operation"},
      {LDAP_COMPARE_FALSE, -1, "different value for compare operation"},
      {LDAP_NO_SUCH_ATTRIBUTE, -1, "different value for compare operation"},
      {LDAP_SUCCESS, -1, "different value for compare operation"},
  };
  for (const auto& row : rows) {
    fake.codes = {row.code};
    EXPECT_EQ(client.ldapClientCompare(Text("cn=x"), Text("cn"), Text("Joe")),
              row.result);
    EXPECT_EQ(fake.take_calls(), Lines{"compare cn=x cn Joe"});
    EXPECT_EQ(log.take(), Lines{info(row.line)});
  }
}

TEST_F(Update, RenamesInTwoSteps) {
  for (const char* name : {"cn=Jim,o=Acme", "cn=Jim", "Jim"}) {
    EXPECT_EQ(client.ldapClientModRDN(Text("cn=Joe,o=Acme"), Text(name)), 0);
    EXPECT_EQ(fake.take_calls(),
              (Lines{"modify cn=Joe,o=Acme: delete cn=Joe, add cn=Jim",
                     "modrdn cn=Joe,o=Acme to cn=Jim"}));
  }
  EXPECT_EQ(log.take(), Lines{});
}

TEST_F(Update, ARefusedStepEndsTheRenameUnlessTheServerKeepsNamingValues) {
  const Lines modify_only = {"modify cn=Joe: delete cn=Joe, add cn=Jim"};
  const Lines both = {modify_only.front(), "modrdn cn=Joe to cn=Jim"};
  const std::string modify_line = error("ldap_modify operation failed");
  const struct {
    std::deque<int> codes;
    int result;
    Lines calls;
    Lines log;
  } rows[] = {
      {{LDAP_NAMING_VIOLATION}, 0, both, {modify_line}},
      {{LDAP_NOT_ALLOWED_ON_RDN}, 0, both, {modify_line}},
      {{LDAP_NOT_ALLOWED_ON_RDN, LDAP_ALREADY_EXISTS},
       -1,
       both,
       {modify_line, error("ldap_modrdn failed")}},
      {{LDAP_SUCCESS, LDAP_ALREADY_EXISTS},
       -1,
       both,
       {error("ldap_modrdn failed")}},
      {{LDAP_NO_SUCH_OBJECT},
       -1,
       modify_only,
       {modify_line, error("ldap_modrdn CN modification failed")}},
      {{LDAP_SERVER_DOWN},
       -1,
       modify_only,
       {modify_line, error("ldap_modrdn CN modification failed")}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.codes.front());
    fake.codes = row.codes;
    EXPECT_EQ(client.ldapClientModRDN(Text("cn=Joe"), Text("Jim")), row.result);
    EXPECT_EQ(fake.take_calls(), row.calls);
    EXPECT_EQ(log.take(), row.log);
  }
}

TEST_F(Update, RefusesANewNameThatDoesNotFit) {
  const std::string longest(511, 'n');
  EXPECT_EQ(client.ldapClientModRDN(Text("cn=Joe"), Text(longest)), 0);
  fake.take_calls();
  EXPECT_EQ(client.ldapClientModRDN(Text("cn=Joe"), Text(longest + "n")), -1);
  EXPECT_EQ(fake.take_calls(), Lines{});
  EXPECT_EQ(log.take(), Lines{error("ldap_modrdn CN modification failed")});
}

TEST_F(Update, SendsNothingWhenMemoryIsOut) {
  Values values;
  values.add(LDAP_MOD_REPLACE, "cn", "Joe").add(LDAP_MOD_ADD, "cn", "Jim");
  const Text dn("cn=" + std::string(40, 'd'));
  const Text name(std::string(40, 'n'));
  const auto modify = [&] {
    return client.ldapClientModify(dn, values.list());
  };
  const auto add = [&] { return client.ldapClientAdd(dn, values.list()); };
  const auto rename = [&] { return client.ldapClientModRDN(dn, name); };
  const auto fails_until_it_succeeds = [this](auto&& operation) {
    for (int n = 1;; ++n) {
      SCOPED_TRACE(n);
      int result = 0;
      {
        const test::AllocFault fault(n);
        result = operation();
      }
      if (!test::AllocFault::happened()) {
        EXPECT_EQ(result, 0);
        EXPECT_GT(n, 8);
        fake.take_calls();
        EXPECT_EQ(test::FakeLdap::outstanding(), 1U) << "the connection";
        return;
      }
      EXPECT_EQ(result, -1);
      EXPECT_EQ(fake.take_calls(), Lines{});
      EXPECT_FALSE(log.take().empty());
    }
  };
  fails_until_it_succeeds(modify);
  fails_until_it_succeeds(add);
  fails_until_it_succeeds(rename);
}

TEST(ModificationArrays, HoldCopiesInTheLibrarysForm) {
  Values values;
  values.add(LDAP_MOD_DELETE, "cn", "Joe").add(LDAP_MOD_REPLACE, "sn", "");
  LDAPMod** own = get_modlist(values.list(), -1);
  LDAPMod** adds = get_modlist(values.list(), LDAP_MOD_ADD);
  values.list()->name[0] = 'X';
  ASSERT_NE(own, nullptr);
  ASSERT_NE(adds, nullptr);
  EXPECT_EQ(own[0]->mod_op, LDAP_MOD_DELETE | LDAP_MOD_BVALUES);
  EXPECT_EQ(own[1]->mod_op, LDAP_MOD_REPLACE | LDAP_MOD_BVALUES);
  EXPECT_EQ(adds[0]->mod_op, LDAP_MOD_ADD | LDAP_MOD_BVALUES);
  EXPECT_STREQ(own[0]->mod_type, "cn");
  EXPECT_EQ(own[0]->mod_bvalues[0]->bv_len, 3U);
  EXPECT_STREQ(own[0]->mod_bvalues[0]->bv_val, "Joe");
  EXPECT_EQ(own[0]->mod_bvalues[1], nullptr);
  EXPECT_EQ(own[1]->mod_bvalues[0]->bv_len, 0U);
  EXPECT_EQ(own[2], nullptr);
  free_modlist(own);
  free_modlist(adds);

  Values empty;
  EXPECT_EQ(get_modlist(empty.list(), -1), nullptr);
  free_modlist(nullptr);
  free_berval(nullptr);
}

}  // namespace
