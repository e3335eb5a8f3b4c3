// What no server does on demand: answers that are made up on the way to a real
// one. And what needs no server at all.

#include <configapi/internals.h>
#include <ldap.h>

#include <cerrno>
#include <string>
#include <string_view>
#include <vector>

#include "base/heap_text.h"
#include "ldap/escape.h"
#include "ldap/intercept.h"
#include "support/client_test.h"

namespace {

using namespace std::string_view_literals;

using configapi::HeapText;
using test::Lines;
using test::Text;

class Faults : public test::ClientTest {
 public:
  void TearDown() override {
    test::ldap_answers.clear();
    test::ldap_calls.clear();
    ClientTest::TearDown();
  }

  int write(std::string_view value) {
    return client.ldapWriteProfileString(Text("Ldap"), Text("HelpFile"),
                                         Text(value));
  }
  std::string reconnected() const {
    return "6 reconnected to ldap://" + directory().host() + ":" +
           std::to_string(directory().port()) + "; ";
  }
};

TEST_F(Faults, ConnectsToTheUsualPlaceUnlessToldOtherwise) {
  errno = EINTR;  // what an earlier call left is not to be logged
  test::ldap_answers = {{"ldap_connect", ECONNREFUSED}};
  EXPECT_EQ(client.ldapClientConnect(nullptr, 0), 4);
  EXPECT_EQ(client.ldapClientConnect(Text("directory.example"), -1), 4);
  EXPECT_EQ(client.ldapClientConnect(Text("directory.example"), 1389), 4);
  EXPECT_EQ(test::ldap_calls,
            (Lines{"ldap_connect ldap://localhost:389 0",
                   "ldap_connect ldap://directory.example:389 0",
                   "ldap_connect ldap://directory.example:1389 0"}));
  const std::string line = "1 ldap_open error: errno=111";
  EXPECT_EQ(logged(), line + "; " + line + "; " + line);
}

TEST_F(Faults, ABindWithoutAnAnswerClosesTheConnection) {
  const struct {
    decltype(test::ldap_answers) answers;
    Lines calls;
    const char* line;
  } rows[] = {
      {{{"ldap_simple_bind", -1}}, {"ldap_simple_bind"}, "1 ldap_bind error"},
      {{{"ldap_result", -1}}, {"ldap_result 360"}, "1 Error on server result"},
      {{{"ldap_result", 0}, {"ldap_abandon", 0}},
       {"ldap_result 360", "ldap_abandon"},
       "1 Timed-out"},
  };
  for (const auto& row : rows) {
    ASSERT_EQ(connect(client), 0);
    test::ldap_answers = row.answers;
    test::ldap_calls.clear();
    EXPECT_EQ(bind(client, "cn=x", "other"), 4);
    EXPECT_EQ(client.ld, nullptr);
    EXPECT_EQ(client.bindDN, directory().bind_dn()) << "the one before";
    EXPECT_EQ(test::ldap_calls, row.calls);
    EXPECT_EQ(logged(), row.line);
    test::ldap_answers.clear();
  }
}

TEST_F(Faults, ASearchThatCannotBeReadFindsNothing) {
  ASSERT_EQ(add("cn=Ldap", {{0, "ConfigSerial", "7"}, {0, "HelpFile", "x"}}),
            0);
  const struct {
    const char* function;
    int code;
    int rc;
    const char* line;
    bool has_answer;  // of the server: then there is nothing to be kept
  } rows[] = {
      {"ldap_search_s", 32, 1, "1 ldap_search failed", true},
      {"ldap_search_s", LDAP_NO_MEMORY, 1, "1 ldap_search failed", false},
      {"ldap_search_s", LDAP_SERVER_DOWN, 1, "1 ldap_search failed", false},
      {"ldap_count_entries", -1, 2, "1 ldap_count_entries failed", true},
      {"ldap_get_attribute_ber", LDAP_NO_MEMORY, 1, "1 ldap_search failed",
       false},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(std::string(row.function) + " " + std::to_string(row.code));
    test::ldap_answers = {{row.function, row.code}};
    EXPECT_EQ(client.ldapClientSearch(nullptr, 2, 0, Text("(cn=Ldap)"), &rc),
              nullptr);
    EXPECT_EQ(rc, row.rc);
    // A lost connection is replaced, and the server asked once more.
    const bool lost =
        row.function == "ldap_search_s"sv && row.code == LDAP_SERVER_DOWN;
    const std::string again = lost ? reconnected() : "";
    EXPECT_EQ(logged(), again + row.line);
    if (!row.has_answer) {
      // A counter that could not be read would start over.
      EXPECT_EQ(write("new"), -1);
      EXPECT_EQ(logged(),
                again + row.line + "; 1 ldapWriteProfileString failed");
    }
    test::ldap_answers.clear();
    EXPECT_EQ(find("cn=Ldap", 0, "(HelpFile=x)", "ConfigSerial"),
              (Lines{"cn=Ldap", "ConfigSerial: 7"}));
  }
  // An entry of which nothing may be seen.
  test::ldap_answers = {{"ldap_get_attribute_ber", 0}};
  EXPECT_EQ(client.ldapGetProfileString(Text("Ldap"), Text("HelpFile"), &rc),
            nullptr);
  EXPECT_EQ(rc, 0);
  EXPECT_EQ(logged(), "6 ldapGetProfileString: no values found");
}

TEST_F(Faults, ARefusedStepEndsARenameUnlessTheServerKeepsNamingValues) {
  const std::string modify = "1 ldap_modify operation failed";
  const std::string modrdn = "1 ldap_modrdn failed";
  const std::string ends = "; 1 ldap_modrdn CN modification failed";
  const struct {
    int modify;
    int modrdn;
    int result;
    std::string log;
  } rows[] = {
      {LDAP_NAMING_VIOLATION, 0, 0, modify},
      {LDAP_NOT_ALLOWED_ON_RDN, 0, 0, modify},
      {LDAP_SUCCESS, 0, 0, ""},
      {LDAP_NOT_ALLOWED_ON_RDN, 68, -1, modify + "; " + modrdn},
      {LDAP_SUCCESS, 68, -1, modrdn},
      {LDAP_NO_SUCH_OBJECT, 0, -1, modify + ends},
      {LDAP_SERVER_DOWN, 0, -1, modify + ends},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.modify);
    test::ldap_answers = {{"ldap_modify_s", row.modify},
                          {"ldap_modrdn_s", row.modrdn}};
    test::ldap_calls.clear();
    EXPECT_EQ(client.ldapClientModRDN(Text("cn=Joe"), Text("Jim")), row.result);
    const bool goes_on = row.log.find(ends) == std::string::npos;
    EXPECT_EQ(test::ldap_calls.size(), goes_on ? 2U : 1U);
    EXPECT_EQ(logged(), row.log);
  }
}

TEST(ModificationArrays, HoldCopiesInTheLibrarysForm) {
  test::AttrRecords values({{LDAP_MOD_DELETE, "cn", "Joe"}, {2, "sn", ""}});
  for (const int op : {-1, LDAP_MOD_ADD}) {
    LDAPMod** mods = get_modlist(values.list(), op);
    ASSERT_NE(mods, nullptr);
    std::string all;
    for (LDAPMod** mod = mods; *mod != nullptr; ++mod) {
      const berval& value = *(*mod)->mod_bvalues[0];
      all += " " + std::to_string((*mod)->mod_op) + (*mod)->mod_type + "=" +
             std::string(value.bv_val, value.bv_len);
      EXPECT_EQ((*mod)->mod_bvalues[1], nullptr);
    }
    EXPECT_EQ(all, op == -1 ? " 129cn=Joe 130sn=" : " 128cn=Joe 128sn=");
    EXPECT_NE((*mods)->mod_bvalues[0]->bv_val, values.list()->value);
    free_modlist(mods);
  }
  EXPECT_EQ(get_modlist(test::AttrRecords({}).list(), -1), nullptr);
  free_modlist(nullptr);
  free_berval(nullptr);
}

TEST(Names, FirstRdnValueAndAttributeOfAFilter) {
  const struct {
    char* (*function)(char*);
    const char* text;
    const char* result;
  } rows[] = {
      {dn_check, "cn=Joe,o=Acme", "Joe"},
      {dn_check, "cn=Joe", "Joe"},
      {dn_check, "Joe", "Joe"},
      {dn_check, "cn=,o=Acme", ""},
      {dn_check, "cn=a=b,c=d", "a=b"},
      {dn_check, "Joe,o=Acme", "Joe"},
      {dn_check, ",cn=Joe", ""},
      {dn_check, "=,", ""},
      {dn_check, "", ""},
      {parse_keyname, "(cn=MAIL)", "cn"},
      {parse_keyname, "cn=MAIL", "cn"},
      {parse_keyname, "(((cn=a=b", "cn"},
      {parse_keyname, "( cn=x)", " cn"},
      {parse_keyname, "(cn)", "cn)"},
      {parse_keyname, "((", ""},
      {parse_keyname, "=x", ""},
      {parse_keyname, "", ""},
  };
  for (const auto& row : rows) {
    const Text text(row.text);
    EXPECT_STREQ(HeapText(row.function(text)).get(), row.result) << row.text;
  }
}

TEST(Names, ListOfOneText) {
  const Text text("mail");
  char** list = get_list(text);
  ASSERT_NE(list, nullptr);
  EXPECT_STREQ(list[0], "mail");
  EXPECT_NE(list[0], static_cast<char*>(text));
  EXPECT_EQ(list[1], nullptr);
  free_getlist(list);
  free_getlist(nullptr);
}

// Forms that a server takes for others, or never sees.
TEST(Escape, TextsInNamesAndFilters) {
  const struct {
    std::string_view text;
    std::string_view in_name;    // RFC 4514
    std::string_view in_filter;  // RFC 4515
  } rows[] = {
      {""sv, ""sv, ""sv},
      {R"("+,;<>\)"sv, R"(\"\+\,\;\<\>\\)"sv, R"("+,;<>\5c)"sv},
      {"a\0*()"sv, R"(a\00*())"sv, R"(a\00\2a\28\29)"sv},
      {"#1#"sv, R"(\#1#)"sv, "#1#"sv},
      {" a b "sv, R"(\ a b\ )"sv, " a b "sv},
      {" "sv, R"(\ )"sv, " "sv},
      {"  "sv, R"(\ \ )"sv, "  "sv},
      {" #"sv, R"(\ #)"sv, " #"sv},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(configapi::escape_dn_value(row.text), row.in_name);
    EXPECT_EQ(configapi::escape_filter_value(row.text), row.in_filter);
  }
}

}  // namespace
