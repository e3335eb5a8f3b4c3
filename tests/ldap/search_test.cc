// Searches, and the records that their results become.

#include <sys/time.h>

#include <algorithm>
#include <cstring>
#include <string>

#include "ldap/counted_new.h"
#include "ldap/fake_session.h"
#include "support/alloc_fault.h"

namespace {

using test::FakeAnswer;
using test::FakeEntry;
using test::Lines;
using test::Text;

class Search : public test::FakeSession {
 public:
  void SetUp() override { connect(); }

  SearchReq* search() {
    return client.ldapClientSearch(Text("o=Acme"), 2, 0, Text("(cn=*)"), &rc);
  }

  int rc = -1;
};

template <typename Record>
bool is_end_record(const Record* record) {
  const Record zero{};
  return std::memcmp(record, &zero, sizeof zero) == 0;
}

TEST_F(Search, TheFormsDifferInWantedTypesAndTime) {
  timeval limit{3, 250000};
  const Text cn("cn");
  const Text mail("mail");
  char* types[] = {cn, mail, nullptr};
  const Text base("o=Acme");
  const Text filter("(cn=*)");
  client.ldapClientSearch(nullptr, 2, 0, filter, &rc);
  client.ldapClientSearch(base, 0, 1, filter, &limit, &rc);
  client.ldapClientSearch(base, 1, 2, filter, types, &rc);
  client.ldapClientSearch(base, 2, 3, filter, types, &limit, &rc);
  EXPECT_EQ(fake.take_calls(),
            (Lines{"search - 2 deref=0 (cn=*)",
                   "search o=Acme 0 deref=1 (cn=*) within 3.250000",
                   "search o=Acme 1 deref=2 (cn=*) +cn +mail",
                   "search o=Acme 2 deref=3 (cn=*) +cn +mail within "
                   "3.250000"}));
}

TEST_F(Search, CopiesEntriesAndValuesInOrder) {
  fake.searches = {FakeAnswer{
      .entries = {FakeEntry{"cn=Joe,o=Acme",
                            {{"mail", {"a@b", "c@d", "e@f"}},
                             {"empty", {}},
                             {"cn", {"Joe"}}}},
                  FakeEntry{std::nullopt, {}},
                  FakeEntry{"cn=Jim,o=Acme", {{"cn", {"Jim", ""}}}}}}};
  SearchReq* const found = search();
  ASSERT_NE(found, nullptr);
  EXPECT_EQ(rc, 0);
  Lines records;
  for (const SearchReq* entry = found;; entry = entry->next) {
    if (entry->next == nullptr) {
      EXPECT_TRUE(is_end_record(entry));
      break;
    }
    records.emplace_back(entry->dn);
    const attrval* value = entry->attrs;
    for (; value->next != nullptr; value = value->next) {
      EXPECT_EQ(value->op, 0);
      records.push_back(std::string(value->name) + ": " + value->value);
    }
    EXPECT_TRUE(is_end_record(value));
  }
  EXPECT_EQ(records,
            (Lines{"cn=Joe,o=Acme", "mail: a@b", "mail: c@d", "mail: e@f",
                   "cn: Joe", "", "cn=Jim,o=Acme", "cn: Jim", "cn: "}));
  client.srch_free(found);
  client.srch_free(nullptr);
  EXPECT_EQ(log.take(), Lines{});
}

TEST_F(Search, CutsWhatDoesNotFitBetweenCharacters) {
  const std::string dn = "cn=" + std::string(251, 'd');
  const std::string name(63, 'n');
  const std::string value(509, 'v');
  fake.searches = {
      FakeAnswer{.entries = {FakeEntry{dn + "x", {{name, {value + "xy"}}}},
                             FakeEntry{dn + "\u00e9",
                                       {{name + "z", {value + "\u20ac"}}}}}}};
  SearchReq* const found = search();
  ASSERT_NE(found, nullptr);
  EXPECT_EQ(found->dn, dn + "x");
  EXPECT_EQ(found->attrs->name, name);
  EXPECT_EQ(found->attrs->value, value + "xy");
  const SearchReq* cut = found->next;
  EXPECT_EQ(cut->dn, dn);
  EXPECT_EQ(cut->attrs->name, name);
  EXPECT_EQ(cut->attrs->value, value);
  client.srch_free(found);
}

// The result is released in each of these cases: see TearDown().
TEST_F(Search, TellsFailureFromNothingFound) {
  const FakeEntry entry{"cn=Joe", {{"cn", {"Joe"}}}};
  const struct {
    FakeAnswer answer;
    int rc;
    std::string line;
  } rows[] = {
      {{.code = 32}, 1, error("ldap_search failed")},
      {{.entries = {entry}, .code = 4}, 1, error("ldap_search failed")},
      {{.code = 81, .has_result = false}, 1, error("ldap_search failed")},
      {{.entries = {entry}, .countable = false},
       2,
       error("ldap_count_entries failed")},
      {{}, 1, info("ldap_search return nothing")},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.line + " " + std::to_string(row.answer.code));
    fake.searches = {row.answer};
    EXPECT_EQ(search(), nullptr);
    EXPECT_EQ(rc, row.rc);
    EXPECT_NE(client.ld, nullptr);
    EXPECT_EQ(log.take(), Lines{row.line});
  }
}

TEST_F(Search, GivesNothingWhenMemoryIsOut) {
  const FakeAnswer answer{.entries = {FakeEntry{"cn=Joe", {{"cn", {"a", "b"}}}},
                                      FakeEntry{"cn=Jim", {}}}};
  const Text filter("(cn=*)");
  for (int n = 1;; ++n) {
    SCOPED_TRACE(n);
    fake.searches = {answer};
    SearchReq* found = nullptr;
    {
      const test::AllocFault fault(n);
      found = client.ldapClientSearch(nullptr, 2, 0, filter, &rc);
    }
    if (!test::AllocFault::happened()) {
      ASSERT_NE(found, nullptr);
      client.srch_free(found);
      EXPECT_EQ(n, 8) << "three entry and four value records to fail";
      return;
    }
    EXPECT_EQ(found, nullptr);
    EXPECT_EQ(rc, 1);
    EXPECT_EQ(log.take(), Lines{error("ldap_search failed")});
  }
}

}  // namespace
