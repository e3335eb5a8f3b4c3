// Profile strings, and the functions on names and lists.

#include <ldap.h>

#include <climits>
#include <memory>
#include <string>
#include <utility>

#include "base/heap_text.h"
#include "ldap/fake_session.h"
#include "support/alloc_fault.h"

namespace {

using configapi::HeapText;
using test::FakeAnswer;
using test::FakeEntry;
using test::Lines;
using test::Text;

class Profile : public test::FakeSession {
 public:
  void SetUp() override { connect(); }

  // What the next search finds.
  void store(std::vector<test::FakeAttribute> attributes) {
    fake.searches = {
        FakeAnswer{.entries = {FakeEntry{"cn=MAIL", std::move(attributes)}}}};
  }

  std::string read(std::string_view section, std::string_view key) {
    const HeapText value(client.ldapGetProfileString(Text(section), Text(key)));
    return value != nullptr ? value.get() : "(none)";
  }
  std::string read_with_code(std::string_view section, std::string_view key) {
    const HeapText value(
        client.ldapGetProfileString(Text(section), Text(key), &rc));
    return value != nullptr ? value.get() : "(none)";
  }

  const std::string no_values = info("ldapGetProfileString: no values found");
  int rc = -1;
};

TEST_F(Profile, ReadsTheFirstValueOfAKeyInAnyLetters) {
  const std::vector<test::FakeAttribute> attributes = {
      {"cn", {"MAIL"}}, {"SmtpPort", {"25", "587"}}, {"smtpport", {"9"}}};
  store(attributes);
  EXPECT_EQ(read("MAIL", "smtpPORT"), "25");
  store(attributes);
  EXPECT_EQ(read_with_code("MAIL", "smtpPORT"), "25");
  EXPECT_EQ(rc, 0);
  EXPECT_EQ(fake.take_calls(),
            (Lines{"search cn=MAIL 2 deref=0 (objectclass=qxconfig)",
                   "search cn=MAIL 2 deref=0 "
                   "(&(cn=MAIL)(smtpPORT=*)(objectclass=qxconfig))"}));
  EXPECT_EQ(log.take(), Lines{});
}

TEST_F(Profile, SaysWhenThereIsNoEntryButNotWhenThereIsNoKey) {
  fake.searches = {FakeAnswer{.code = 32}};
  EXPECT_EQ(read_with_code("MAIL", "Key"), "(none)");
  EXPECT_EQ(rc, 1);
  EXPECT_EQ(log.take(), (Lines{error("ldap_search failed"), no_values}));

  EXPECT_EQ(read_with_code("MAIL", "Key"), "(none)");
  EXPECT_EQ(rc, 1);
  EXPECT_EQ(log.take(), (Lines{info("ldap_search return nothing"), no_values}));

  store({{"cn", {"MAIL"}}});
  EXPECT_EQ(read_with_code("MAIL", "Key"), "(none)");
  EXPECT_EQ(rc, 0);
  store({{"cn", {"MAIL"}}});
  EXPECT_EQ(read("MAIL", "Key"), "(none)");
  EXPECT_EQ(log.take(), Lines{});

  for (const auto& attributes :
       {std::vector<test::FakeAttribute>{},
        std::vector<test::FakeAttribute>{{"Key", {""}}}}) {
    store(attributes);
    EXPECT_EQ(read_with_code("MAIL", "Key"), "(none)");
    EXPECT_EQ(rc, 0);
    EXPECT_EQ(log.take(), Lines{no_values});
  }
}

TEST_F(Profile, LimitsAreThoseOfThePlainNames) {
  const std::string stars(60, '*');
  store({{"k1234", {"v"}}});
  EXPECT_EQ(read_with_code(stars, "k1234"), "v");
  fake.take_calls();
  EXPECT_EQ(read_with_code(stars, "k12345"), "(none)");
  EXPECT_EQ(rc, 1);

  const std::string commas(1020, ',');
  store({{"Key", {"v"}}});
  EXPECT_EQ(read(commas, "Key"), "v");
  fake.take_calls();
  EXPECT_EQ(read(commas + ",", "Key"), "(none)");
  EXPECT_EQ(log.take(), (Lines{no_values, no_values}));
  EXPECT_EQ(fake.take_calls(), Lines{});
}

TEST_F(Profile, NamesStandForThemselves) {
  const std::string section = R"( #a*b(c)d\e,f+g"h )";
  read_with_code(section, "K*");
  client.ldapWriteProfileString(Text(section), Text("Key"), Text("v"));
  EXPECT_EQ(fake.take_calls(),
            (Lines{R"(search cn=\ #a*b(c)d\\e\,f\+g\"h\  2 deref=0 )"
                   R"((&(cn= #a\2ab\28c\29d\5ce,f+g"h )(K\2a=*))"
                   R"((objectclass=qxconfig)))",
                   R"(search - 2 deref=0 cn= #a\2ab\28c\29d\5ce,f+g"h )",
                   R"(modify cn=\ #a*b(c)d\\e\,f\+g\"h\ : replace Key=v, )"
                   R"(add ConfigSerial=0)"}));
}

TEST_F(Profile, CountsTheWrites) {
  const struct {
    const char* present;
    std::string next;
  } rows[] = {
      {"0", "1"},
      {"41", "42"},
      {" 5 writes", "6"},
      {"-7", "1"},
      {"never", "1"},
      {"", "1"},
      {"99999999999999999999999", std::to_string(LONG_MAX)},
      {"-99999999999999999999999", "1"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.present);
    store({{"cn", {"MAIL"}}, {"configserial", {row.present, "100"}}});
    EXPECT_EQ(
        client.ldapWriteProfileString(Text("MAIL"), Text("Key"), Text("v")), 0);
    EXPECT_EQ(fake.take_calls(),
              (Lines{"search - 2 deref=0 cn=MAIL",
                     "modify cn=MAIL: replace Key=v, replace ConfigSerial=" +
                         row.next}));
  }
  store({{"cn", {"MAIL"}}});
  EXPECT_EQ(client.ldapWriteProfileString(Text("MAIL"), Text("Key"), Text("v")),
            0);
  EXPECT_EQ(fake.take_calls().back(),
            "modify cn=MAIL: replace Key=v, add ConfigSerial=0");
  EXPECT_EQ(log.take(), Lines{});
}

TEST_F(Profile, AWriteMakesTheEntryWhenThereIsNone) {
  fake.codes = {32, 0};
  EXPECT_EQ(client.ldapWriteProfileString(Text("A,B"), Text("Key"), Text("v")),
            0);
  EXPECT_EQ(fake.take_calls(),
            (Lines{"search - 2 deref=0 cn=A,B",
                   R"(modify cn=A\,B: replace Key=v, add ConfigSerial=0)",
                   R"(add cn=A\,B: add Key=v, add ConfigSerial=0, )"
                   "add objectclass=qxconfig, add cn=A,B"}));
  EXPECT_EQ(log.take(), (Lines{info("ldap_search return nothing"),
                               error("ldap_modify operation failed")}));
}

TEST_F(Profile, ARefusedWriteIsFinal) {
  const std::string nothing = info("ldap_search return nothing");
  const std::string modify = error("ldap_modify operation failed");
  const std::string failed = error("ldapWriteProfileString failed");
  const struct {
    std::deque<int> codes;
    std::size_t calls;
    Lines log;
  } rows[] = {
      {{50}, 2, {nothing, modify, failed}},
      {{32, 68},
       3,
       {nothing, modify, error("ldap_add operation failed"), failed}},
  };
  for (const auto& row : rows) {
    fake.codes = row.codes;
    EXPECT_EQ(
        client.ldapWriteProfileString(Text("MAIL"), Text("Key"), Text("v")),
        -1);
    EXPECT_EQ(fake.take_calls().size(), row.calls);
    EXPECT_EQ(log.take(), row.log);
  }
}

TEST_F(Profile, RefusesToWriteWhatDoesNotFit) {
  const Lines failed = {error("ldapWriteProfileString failed")};
  const struct {
    std::size_t section;
    std::size_t key;
    std::size_t value;
    bool fits;
  } rows[] = {
      {1020, 63, 511, true},
      {1021, 1, 1, false},
      {1, 64, 1, false},
      {1, 1, 512, false},
  };
  for (const auto& row : rows) {
    store({{"cn", {"x"}}});
    EXPECT_EQ(client.ldapWriteProfileString(Text(std::string(row.section, 's')),
                                            Text(std::string(row.key, 'k')),
                                            Text(std::string(row.value, 'v'))),
              row.fits ? 0 : -1);
    EXPECT_EQ(fake.take_calls().size(), row.fits ? 2U : 0U);
    EXPECT_EQ(log.take(), row.fits ? Lines{} : failed);
  }

  // The cn of a new entry is a value like any other.
  store({});
  fake.codes = {32};
  EXPECT_EQ(client.ldapWriteProfileString(Text(std::string(512, 's')),
                                          Text("Key"), Text("v")),
            -1);
  EXPECT_EQ(fake.take_calls().size(), 2U);
  EXPECT_EQ(log.take().back(), failed.front());
}

TEST_F(Profile, FailsInOrderWhenMemoryIsOut) {
  const Text section(std::string(60, 's'));
  const Text key("Key");
  const Text value("v");
  const auto fails_until_it_succeeds = [](auto&& operation, auto&& check) {
    for (int n = 1;; ++n) {
      SCOPED_TRACE(n);
      {
        const test::AllocFault fault(n);
        operation();
      }
      const bool done = !test::AllocFault::happened();
      check(done);
      EXPECT_EQ(test::FakeLdap::outstanding(), 1U) << "the connection";
      if (done) {
        EXPECT_GT(n, 5);
        return;
      }
    }
  };
  HeapText found;
  const auto found_when_done = [&](bool done) {
    EXPECT_EQ(found != nullptr, done);
    EXPECT_EQ(rc, done ? 0 : 1);
    store({{"Key", {"v"}}});
  };
  store({{"Key", {"v"}}});
  fails_until_it_succeeds(
      [&] { found.reset(client.ldapGetProfileString(section, key, &rc)); },
      found_when_done);
  fails_until_it_succeeds(
      [&] {
        found.reset(client.ldapGetProfileString(section, key));
        rc = found == nullptr ? 1 : 0;
      },
      found_when_done);

  int result = 0;
  store({{"ConfigSerial", {"3"}}});
  fails_until_it_succeeds(
      [&] { result = client.ldapWriteProfileString(section, key, value); },
      [&](bool done) {
        const Lines calls = fake.take_calls();
        const bool sent = !calls.empty() && calls.back().find("modify") == 0;
        EXPECT_EQ(result, done ? 0 : -1);
        EXPECT_EQ(sent, done);
        EXPECT_EQ(log.take().empty(), done);
        store({{"ConfigSerial", {"3"}}});
      });
}

// A counter that could not be read would start over.
TEST_F(Profile, WritesNothingWhenTheCounterCannotBeRead) {
  const FakeEntry cut_short = {"cn=MAIL", {{"cn", {"MAIL"}}}};
  const FakeAnswer answers[] = {
      {.code = LDAP_NO_MEMORY, .has_result = false},
      {.code = LDAP_SERVER_DOWN, .has_result = false},
      {.entries = {cut_short}, .end_code = LDAP_NO_MEMORY},
  };
  for (const FakeAnswer& answer : answers) {
    fake.searches = {answer};
    EXPECT_EQ(
        client.ldapWriteProfileString(Text("MAIL"), Text("Key"), Text("v")),
        -1);
    EXPECT_EQ(fake.take_calls().size(), 1U);
    EXPECT_EQ(log.take(), (Lines{error("ldap_search failed"),
                                 error("ldapWriteProfileString failed")}));
  }
}

TEST(Names, FirstRdnValue) {
  const struct {
    const char* text;
    const char* value;
  } rows[] = {
      {"cn=Joe,o=Acme", "Joe"},
      {"cn=Joe", "Joe"},
      {"Joe", "Joe"},
      {"cn=,o=Acme", ""},
      {"cn=a=b,c=d", "a=b"},
      {"Joe,o=Acme", "Joe"},
      {"Joe,Acme", "Joe"},
      {",cn=Joe", ""},
      {"=,", ""},
      {"=", ""},
      {"", ""},
  };
  for (const auto& row : rows) {
    const HeapText value(dn_check(Text(row.text)));
    EXPECT_STREQ(value.get(), row.value) << row.text;
  }
}

TEST(Names, AttributeOfAFilter) {
  const struct {
    const char* text;
    const char* name;
  } rows[] = {
      {"(cn=MAIL)", "cn"}, {"cn=MAIL", "cn"}, {"(((cn=a=b", "cn"},
      {"( cn=x)", " cn"},  {"(cn)", "cn)"},   {"((", ""},
      {"=x", ""},          {"", ""},
  };
  for (const auto& row : rows) {
    const HeapText name(parse_keyname(Text(row.text)));
    EXPECT_STREQ(name.get(), row.name) << row.text;
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

TEST(Names, NullWhenMemoryIsOut) {
  const Text text("cn=Joe");
  for (const int n : {1, 2}) {
    const test::AllocFault fault(n);
    EXPECT_EQ(get_list(text), nullptr);
  }
  {
    const test::AllocFault fault(1);
    EXPECT_EQ(dn_check(text), nullptr);
  }
  const test::AllocFault fault(1);
  EXPECT_EQ(parse_keyname(text), nullptr);
}

}  // namespace
