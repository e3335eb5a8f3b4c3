// Changes to a directory: through the tool's commands, and from inside, where
// nothing is asked before it is sent.

#include <ldap.h>

#include <algorithm>
#include <array>
#include <barrier>
#include <functional>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "changes.h"
#include "link.h"
#include "tools/directory_tool.h"

namespace {

using configapi::tool::ChangedEntry;
using configapi::tool::Changes;
using configapi::tool::Difference;
using configapi::tool::Entry;
using configapi::tool::ExitCode;
using configapi::tool::Failure;
using configapi::tool::Holdings;
using configapi::tool::Link;
using configapi::tool::Setting;
using configapi::tool::Values;
using configapi::tool::Writing;

constexpr std::size_t kMany = 200;

Setting setting(const std::string& address) {
  return configapi::tool::require_addressed(address).front();
}

class WriteTest : public test::DirectoryToolTest {
 protected:
  void SetUp() override {
    DirectoryToolTest::SetUp();
    if (!IsSkipped() && !HasFailure()) {
      link_.emplace(connection(), output_);
    }
  }

  [[nodiscard]] configapi::tool::Connection connection() const {
    return {directory().host(), directory().port(), directory().bind_dn(),
            surroundings_.names.at("CONFIGAPI_PASSFILE"), 20};
  }
  [[nodiscard]] const Link& link() const { return *link_; }

  // A change from what the directory has now.
  [[nodiscard]] Difference to(const std::string& address,
                              const Values& after) const {
    return {setting(address),
            values_now(Holdings(link().entries()), setting(address)), after};
  }
  [[nodiscard]] Changes changes(const std::vector<Difference>& list) const {
    return {list, link().entries()};
  }
  void write(const std::vector<Difference>& list) const {
    Changes made = changes(list);
    made.write(link(), made.prepare_writing(link()));
  }

  // Many settings get this value.
  [[nodiscard]] std::vector<Difference> many(const std::string& value) const {
    const Holdings now(link().entries());
    auto settings = configapi::tool::all_settings();
    settings.resize(kMany);
    std::vector<Difference> list;
    for (const Setting& one : settings) {
      list.push_back({one, values_now(now, one), {value}});
    }
    return list;
  }

  // An entry that is no section, and in the way of one.
  void block(const std::string& name) {
    ASSERT_EQ(client.ldapClientAdd(
                  test::Text("cn=" + name),
                  test::AttrRecords({{0, "objectclass", "applicationProcess"}})
                      .list()),
              0);
  }

  // Every entry with all its values, those that the server keeps included, as
  // sorted lines.
  [[nodiscard]] std::vector<std::string> everything() const {
    std::string users = LDAP_ALL_USER_ATTRIBUTES;
    std::string servers = LDAP_ALL_OPERATIONAL_ATTRIBUTES;
    std::array<char*, 3> wanted = {users.data(), servers.data(), nullptr};
    LDAPMessage* found = nullptr;
    EXPECT_EQ(ldap_search_ext_s(link().ld(), "", LDAP_SCOPE_SUBTREE,
                                "(objectClass=*)", wanted.data(), 0, nullptr,
                                nullptr, nullptr, 0, &found),
              LDAP_SUCCESS);
    std::vector<std::string> lines;
    for (const Entry& entry :
         configapi::tool::copied_entries(link().ld(), found)) {
      for (const auto& [name, value] : entry.values) {
        lines.push_back(entry.dn + " " + name + ": " + value);
      }
    }
    ldap_msgfree(found);
    std::sort(lines.begin(), lines.end());
    return lines;
  }

  static Failure failure_of(const std::function<void()>& action) {
    try {
      action();
    } catch (const Failure& failure) {
      return failure;
    }
    return {ExitCode::kDone, "no failure"};
  }

 private:
  const configapi::tool::Output output_{};
  std::optional<Link> link_;
};

TEST_F(WriteTest, SetsAndUnsets) {
  add("cn=Tuning", {{0, "DNStimeout", "5"}, {0, "Port", "389"}});
  add("cn=LocalMail", {{0, "TimeRetry", "5"}, {0, "TimeRetry", "6"}});
  const std::string timeout = "configapi: Tuning/DNStimeout: ";
  check({
      {"set tuning/dnstimeout=7", 0, "Tuning/DNStimeout: 5 -> 7\n"},
      {"get Tuning/DNStimeout", 0, "7\n"},
      {"set Tuning/DNStimeout=7", 0, "Tuning/DNStimeout: 7 (as it was)\n"},
      {"set Ldap/Prot=1 Tuning/DNStimeout=soon Ldap/Password hunter2", 3, "",
       "configapi: no setting 'Ldap/Prot' in the schema; did you mean "
       "Ldap/Port?\n" +
           timeout +
           "'soon' is not a whole number in digits alone, or empty\n"
           "configapi: a word is neither ADDRESS=VALUE nor a password's "
           "ADDRESS\n"},
      {"set Tuning/DNStimeout=soon Ldap/Port= Ldap/HostName=3", 1, "",
       timeout + "'soon' is not a whole number in digits alone, or empty\n"
                 "configapi: Ldap/Port: a directory holds no empty value: "
                 "unset it instead\n"},
      {"set Tuning/DNStimeout=1 tuning/dnstimeout=2", 2, "",
       "configapi: Tuning/DNStimeout is given twice\n"},
      {"set Tuning/DNS*=1", 2, "",
       "configapi: 'Tuning/DNS*' is a glob, not one setting\n"},
      {"set Tuning/DNStimeout", 2, "",
       "configapi: 'Tuning/DNStimeout' has no value: it takes ADDRESS=VALUE\n"},
      // A section that is not there, one whose name slapd has taken, and more
      // than one entry at once.
      {"set Config/version=YES 'Installed Components/SMTPD=no' -n", 0,
       "Config/version: (not set) -> YES\n"
       "Installed Components/SMTPD: (not set) -> no\n",
       "configapi: warning: directory " + directory().host() + " port " +
           std::to_string(directory().port()) +
           " cannot be asked about everything: of the rest only the types of "
           "the values have been checked\n"},
      {"list Config", 1, "",
       "configapi: nothing that matches 'Config' is set\n"},
      {"set Config/version=YES 'Installed Components/SMTPD=no' "
       "bsmtp/BSMTPConfigFile=a=b LocalMail/TimeRetry=6",
       0,
       "Config/version: (not set) -> YES\n"
       "Installed Components/SMTPD: (not set) -> no\n"
       "bsmtp/BSMTPConfigFile: (not set) -> a=b\n"
       "LocalMail/TimeRetry: \"5\", \"6\" -> 6\n"},
      {"set --json Tuning/DNStimeout=8", 0,
       R"({"address":"Tuning/DNStimeout","section":"Tuning",)"
       R"("key":"DNStimeout","old":"7","new":"8"})"
       "\n"},
      {"set Tuning/DNStimeout=9 --was 7", 7, "",
       "configapi: Tuning/DNStimeout is '8', not '7'\n"},
      {"set Tuning/DNStimeout=9 --was 8", 0, "Tuning/DNStimeout: 8 -> 9\n"},
      {"set Tuning/DNSretries=4 --was ''", 0,
       "Tuning/DNSretries: (not set) -> 4\n"},
      {"set Tuning/DNSretries=4 Ldap/Port=1 --was 4", 2, "",
       "configapi: --was goes with one ADDRESS=VALUE\n"},
      {"unset Tuning/DNSretries Tuning/Port -n", 0,
       "Tuning/DNSretries: 4 -> (not set)\nTuning/Port: 389 -> (not set)\n"},
      {"unset Tuning/DNSretries tuning/port config/VERSION", 0,
       "Tuning/DNSretries: 4 -> (not set)\nTuning/Port: 389 -> (not set)\n"
       "Config/version: YES -> (not set)\n"},
      {"unset Tuning/DNSretries", 0,
       "Tuning/DNSretries: (not set) (as it was)\n"},
      {"unset Tuning/Port", 3, "",
       "configapi: no setting 'Tuning/Port' in the schema; did you mean "
       "Ldap/Port?\n"},
      {"list", 0,
       "Installed Components/SMTPD=no\nTuning/DNStimeout=9\n"
       "LocalMail/TimeRetry=6\nbsmtp/BSMTPConfigFile=a=b\n"},
  });
}

TEST_F(WriteTest, TakesSecretsFromStandardInput) {
  surroundings_.input = "11\n22\n";
  check({{"set Ldap/Password PostOffice/PoPassword", 0,
          "Ldap/Password: (not set) -> ********\n"
          "PostOffice/PoPassword: (not set) -> ********\n"},
         {"set Ldap/Password=33 --was 44", 7, "",
          "configapi: Ldap/Password is not what --was says\n"},
         {"set Ldap/Password=33x", 1, "",
          "configapi: Ldap/Password: the value is not a whole number in digits "
          "alone, or empty\n"},
         {"set Ldap/Password=33 --secrets", 0, "Ldap/Password: 11 -> 33\n"},
         {"get PostOffice/PoPassword", 0, "22\n"}});
  surroundings_.input = "";
  check({{"set Ldap/Password", 8, "",
          "configapi: no value of Ldap/Password in a line of standard "
          "input\n"}});
}

TEST_F(WriteTest, Imports) {
  add("cn=Tuning",
      {{0, "DNStimeout", "5"}, {0, "DNSretries", "4"}, {0, "Port", "389"}});
  add("cn=Ldap", {{0, "Password", "77"}});
  const std::string good = folder_.write("good",
                                         "[Tuning]\nDNStimeout=6\n[Ldap]\n"
                                         "Password=********\n"
                                         "UserName=3\n[LocalMail]\n"
                                         "TimeRetry=5\nTimeRetry+=6\n");
  const std::string bad = folder_.write("bad",
                                        "[Tuning]\nDNStimeout=soon\nDNS\n"
                                        "DNSretrys=4\nDNSretries=-1\n");
  const std::string empty = folder_.write("empty", "; nothing\n");
  const std::string lines =
      "Tuning/DNStimeout: 5 -> 6\n"
      "LocalMail/TimeRetry: (not set) -> \"5\", \"6\"\n"
      "Ldap/UserName: (not set) -> 3\n";
  const auto before = everything();
  check({
      {"import " + bad, 1, "",
       "configapi: " + bad +
           ":2: Tuning/DNStimeout: 'soon' is not a whole number in digits "
           "alone, or empty\n"
           "configapi: " +
           bad +
           ":3: neither [SECTION] nor KEY=VALUE nor a comment\n"
           "configapi: " +
           bad +
           ":4: no key 'DNSretrys' in section Tuning; did you mean "
           "DNSretries?\n"
           "configapi: " +
           bad +
           ":5: Tuning/DNSretries: '-1' is not a whole number in digits "
           "alone, or empty\n"},
      {"import --replace " + empty, 1, "",
       "configapi: " + empty +
           " holds no setting: --replace would leave none\n"},
      {"-q import -n " + good, 0, lines},
  });
  EXPECT_EQ(everything(), before);
  check({{"import " + good, 0, lines},
         {"import " + good, 0, ""},
         {"import --replace " + good, 0, "Tuning/DNSretries: 4 -> (not set)\n"},
         {"list --secrets", 0,
          "Tuning/DNStimeout=6\n? Tuning/Port=389\nLocalMail/TimeRetry=5\n"
          "LocalMail/TimeRetry=6\nLdap/UserName=3\nLdap/Password=77\n"}});
  // An export goes back to where it came from, also with a value that should
  // not be there.
  modify("cn=Tuning", {{0, "DNSretries", "often"}});
  surroundings_.input = run("export").out;
  check({{"import --replace", 0, ""}});
}

// Each change is made by somebody else between the tool's reading and writing.
TEST_F(WriteTest, NobodysChangeIsOverwritten) {
  struct Case {
    const char* what;
    Values before;
    Values between;
    const char* told;
  };
  const std::array<Case, 4> cases = {
      Case{"changed", {"5"}, {"6"}, "5 -> 6"},
      Case{"removed", {"5"}, {}, "5 -> (not set)"},
      Case{"set", {}, {"6"}, "(not set) -> 6"},
      Case{"one more", {"5"}, {"4", "5"}, "5 -> \"4\", \"5\""}};
  const std::string address = "Tuning/DNStimeout";
  write({to("Tuning/DNSretries", {"1"})});
  for (const Case& one : cases) {
    write({to(address, one.before)});
    Changes late = changes({to(address, {"7"})});
    write({to(address, one.between)});
    const Failure failure =
        failure_of([&] { late.write(link(), Writing::kTogether); });
    EXPECT_EQ(failure.code(), ExitCode::kConflict) << one.what;
    EXPECT_EQ(failure.what(), "somebody else has changed Tuning/DNStimeout: " +
                                  std::string(one.told));
    EXPECT_EQ(to(address, {}).before, one.between) << one.what;
  }
  Changes first = changes({to("Ldap/Port", {"7"})});
  Changes second = changes({to("Ldap/Port", {"8"})});
  first.write(link(), Writing::kTogether);
  EXPECT_EQ(
      failure_of([&] { second.write(link(), Writing::kTogether); }).code(),
      ExitCode::kConflict);
  Changes gone = changes({to("Ldap/Port", {"9"})});
  ASSERT_EQ(client.ldapClientDelete(test::Text("cn=Ldap")), 0);
  EXPECT_EQ(failure_of([&] { gone.write(link(), Writing::kTogether); }).code(),
            ExitCode::kConflict);
}

TEST_F(WriteTest, ARefusalLeavesEverythingAsItWas) {
  write(many("1"));
  ASSERT_EQ(client.ldapClientDelete(test::Text("cn=Routing")), 0);
  block("Routing");
  const auto but_routing = [this] {
    std::vector<Difference> list = many("2");
    std::erase_if(list, [](const Difference& difference) {
      return std::string(difference.setting.section) == "Routing";
    });
    return list;
  };
  Changes late = changes(but_routing());
  write({to("Tuning/DNStimeout", {"3"})});
  std::vector<Difference> invalid = but_routing();
  invalid.back().after = {"\xFF"};

  struct Case {
    const char* what;
    std::function<void()> action;
    ExitCode code;
    const char* told;
  };
  Changes blocked = changes(many("2"));
  Changes wrong = changes(invalid);
  const std::array<Case, 4> cases = {
      Case{"asked", [&] { (void)wrong.ask(link()); }, ExitCode::kRefused,
           "Invalid syntax"},
      Case{"when sent", [&] { wrong.write(link(), Writing::kTogether); },
           ExitCode::kRefused, "Invalid syntax"},
      Case{"when carried out",
           [&] { blocked.write(link(), Writing::kTogether); },
           ExitCode::kRefused, "Already exists"},
      Case{"changed meanwhile", [&] { late.write(link(), Writing::kTogether); },
           ExitCode::kConflict, "Tuning/DNStimeout: 1 -> 3"}};
  const auto before = everything();
  for (const Case& one : cases) {
    const Failure failure = failure_of(one.action);
    EXPECT_EQ(failure.code(), one.code) << one.what << ": " << failure.what();
    EXPECT_NE(std::string(failure.what()).find(one.told), std::string::npos)
        << one.what << ": " << failure.what();
    EXPECT_EQ(everything(), before) << one.what;
  }
  for (const ChangedEntry& entry : blocked.entries()) {
    EXPECT_EQ(entry.state, ChangedEntry::State::kNotWritten) << entry.dn;
  }
}

// A server must not mix up types that first came to it in a transaction without
// effect. Nothing else here stores these.
TEST_F(WriteTest, ARollbackDoesNotMixUpTypes) {
  auto settings = configapi::tool::all_settings();
  std::vector<Difference> list = {to("Tuning/DNStimeout", {"1"})};
  for (std::size_t i = kMany; i < settings.size(); ++i) {
    list.insert(list.begin(), {settings[i], {}, {std::to_string(i)}});
  }
  add("cn=Tuning", {{0, "DNSretries", "1"}});
  Changes late = changes(list);
  ASSERT_EQ(late.prepare_writing(link()), Writing::kTogether);
  write({to("Tuning/DNStimeout", {"2"})});
  const auto before = everything();
  EXPECT_EQ(failure_of([&] { late.write(link(), Writing::kTogether); }).code(),
            ExitCode::kConflict);
  EXPECT_EQ(everything(), before);
  std::reverse(list.begin(), list.end());
  for (const Difference& difference : list) {
    const std::string address = address_of(difference.setting);
    write({to(address, difference.after)});
    EXPECT_EQ(to(address, {}).before, difference.after) << address;
  }
}

// The whole way: nothing is wrong with the file, but the server has an entry in
// the way of one section.
TEST_F(WriteTest, AnImportIsAllOrNothing) {
  std::string text;
  std::string section;
  for (const Difference& difference : many("7")) {
    const auto type = difference.setting.key->type;
    if (section != difference.setting.section) {
      section = difference.setting.section;
      text += "[" + section + "]\n";
    }
    text += std::string(difference.setting.key->key) + "=" +
            (type == TYPE_BOOLEAN_YN       ? "NO"
             : type == TYPE_RFC822_ADDRESS ? "a@example.com"
             : type == TYPE_FILENAME_N     ? R"(\\A\B)"
                                           : "7") +
            "\n";
  }
  const std::string file = folder_.write("many", text);
  add("cn=Tuning", {{0, "DNStimeout", "5"}});
  block("Connection");
  const auto before = everything();
  const test::ToolRun refused = run("import " + file);
  EXPECT_EQ(refused.exit, 5) << refused;
  EXPECT_EQ(test::lines_in(refused.out), kMany) << refused;
  EXPECT_NE(refused.err.find("refused the change of Connection: Already exists;"
                             " nothing was written"),
            std::string::npos)
      << refused;
  EXPECT_EQ(everything(), before);
  ASSERT_EQ(client.ldapClientDelete(test::Text("cn=Connection")), 0);
  EXPECT_EQ(run("import " + file).exit, 0);
  EXPECT_EQ(test::lines_in(run("list").out), kMany);
}

// Where there are no transactions, it is told how far it came.
TEST_F(WriteTest, StopsAtTheFirstRefusal) {
  using State = ChangedEntry::State;
  block("Ldap");
  Changes some =
      changes({to("Tuning/DNStimeout", {"1"}), to("Ldap/Port", {"1"}),
               to("LocalMail/TimeRetry", {"1"})});
  EXPECT_EQ(failure_of([&] { some.write(link(), Writing::kOneByOne); }).code(),
            ExitCode::kRefused);
  EXPECT_EQ(some.entries().at(0).state, State::kWritten);
  EXPECT_EQ(some.entries().at(1).state, State::kNotWritten);
  EXPECT_EQ(some.entries().at(2).state, State::kNotWritten);
  EXPECT_EQ(run("list").out, "Tuning/DNStimeout=1\n");
}

// Every round both know the value that is there; some rounds the real command
// races, the others what it does at its heart.
TEST_F(WriteTest, OneOfTwoWritersWins) {
  constexpr int kRounds = 500;
  constexpr int kCommandEvery = 10;
  const std::string address = "Tuning/DNStimeout";
  std::string value = "1000";
  write({to(address, {value})});
  const std::array<Link, 2> links = {Link(connection(), {}),
                                     Link(connection(), {})};
  for (int round = 0; round < kRounds; ++round) {
    const std::array<std::string, 2> wanted = {std::to_string(2000 + round),
                                               std::to_string(3000 + round)};
    std::array<ExitCode, 2> ends{};
    std::barrier start(2);
    const auto race = [&](std::size_t who) {
      if (round % kCommandEvery == 0) {
        start.arrive_and_wait();
        ends.at(who) = static_cast<ExitCode>(
            run("set " + address + "=" + wanted.at(who) + " --was " + value)
                .exit);
        return;
      }
      Changes own({{setting(address), {value}, {wanted.at(who)}}},
                  links.at(who).entries());
      start.arrive_and_wait();
      ends.at(who) = failure_of([&] {
                       own.write(links.at(who), Writing::kTogether);
                     }).code();
    };
    std::thread other(race, 1);
    race(0);
    other.join();
    const std::size_t winner = ends[0] == ExitCode::kDone ? 0 : 1;
    ASSERT_EQ(ends.at(winner), ExitCode::kDone) << round;
    ASSERT_EQ(ends.at(1 - winner), ExitCode::kConflict) << round;
    value = wanted.at(winner);
    ASSERT_EQ(to(address, {}).before, Values{value}) << round;
  }
}

}  // namespace
