// Changes to a directory from inside, where nothing is asked before they are
// sent, and what a transcript cannot show of the commands.

#include <ldap.h>

#include <algorithm>
#include <array>
#include <barrier>
#include <csignal>
#include <functional>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "changes.h"
#include "link.h"
#include "support/client_test.h"
#include "support/temp_folder.h"
#include "tools/run_tool.h"

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

class WriteTest : public test::ClientTest {
 protected:
  void SetUp() override {
    ClientTest::SetUp();
    if (IsSkipped() || HasFailure()) {
      return;
    }
    // The file's one line feed is not part of the password.
    surroundings_.names = {
        {"CONFIGAPI_HOST", directory().host()},
        {"CONFIGAPI_PORT", std::to_string(directory().port())},
        {"CONFIGAPI_BINDDN", directory().bind_dn()},
        {"CONFIGAPI_PASSFILE",
         folder_.write("password", directory().password() + "\n")},
        {"CONFIGAPI_TIMEOUT", "20"}};
    link_.emplace(connection(), output_);
  }

  [[nodiscard]] test::ToolRun run(const std::string& line) const {
    return run_tool(line, surroundings_);
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

  test::Surroundings surroundings_;
  const test::TempFolder folder_;

 private:
  const configapi::tool::Output output_{};
  std::optional<Link> link_;
};

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

TEST_F(WriteTest, AsksForThePassword) {
  add("cn=Tuning", {{0, "DNStimeout", "7"}});
  surroundings_.names.erase("CONFIGAPI_PASSFILE");
  surroundings_.on_terminal = true;
  surroundings_.typed = directory().password() + "\n";
  const test::ToolRun let_in = run("-y - get Tuning/DNStimeout");
  EXPECT_EQ(let_in.out, "7\n");
  EXPECT_EQ(let_in.err, "Password: \r\n") << "nothing is echoed";
  surroundings_.typed = "half\x03";  // the interrupt key
  EXPECT_EQ(run("-y - get Tuning/DNStimeout").exit, 128 + SIGINT);
  surroundings_.on_terminal = false;
  EXPECT_EQ(run("-y - get Tuning/DNStimeout").exit, 8);
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
  constexpr int kCommandEvery = 25;
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
    value = wanted.at(winner);  // which the next round's writers find, or fail
  }
}

}  // namespace
