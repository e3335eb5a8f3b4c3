// The tool against a directory.

#include <configapi/config.h>
#include <gtest/gtest.h>

#include <csignal>
#include <string>
#include <utility>
#include <vector>

#include "support/directory.h"
#include "support/temp_folder.h"
#include "tools/run_tool.h"

namespace {

using test::run_tool;
using test::ToolRun;
using test::Words;

using Values = std::vector<std::pair<std::string, std::string>>;

class ToolDirectory : public test::DirectoryTest {
 protected:
  void SetUp() override {
    DirectoryTest::SetUp();
    if (IsSkipped() || HasFailure()) {
      return;
    }
    std::string host = directory().host();
    std::string dn = directory().bind_dn();
    std::string password = directory().password();
    ASSERT_EQ(config_.ldapClientConnect(host.data(), directory().port()), 0);
    ASSERT_EQ(config_.ldapClientBind(dn.data(), password.data()), 0);
    // The file's one line feed is not part of the password.
    surroundings_.names = {
        {"CONFIGAPI_HOST", host},
        {"CONFIGAPI_PORT", std::to_string(directory().port())},
        {"CONFIGAPI_BINDDN", dn},
        {"CONFIGAPI_PASSFILE", folder_.write("password", password + "\n")},
        {"CONFIGAPI_TIMEOUT", "20"}};
  }

  void TearDown() override { config_.ldapClientUnbind(); }

  // A section's entry, as the gateway would have made it.
  void add(const std::string& section, const Values& values) {
    std::vector<attrval> list;
    list.push_back(value_of("objectclass", "qxconfig"));
    for (const auto& [name, value] : values) {
      list.push_back(value_of(name, value));
    }
    list.emplace_back();
    for (std::size_t i = 0; i + 1 < list.size(); ++i) {
      list[i].next = &list[i + 1];
    }
    std::string dn = "cn=" + section;
    ASSERT_EQ(config_.ldapClientAdd(dn.data(), list.data()), 0) << section;
  }

  // One more value of a key that has one.
  void add_value(const std::string& section, const std::string& key,
                 const std::string& value) {
    std::vector<attrval> list{value_of(key, value), {}};
    list.front().next = &list.back();
    std::string dn = "cn=" + section;
    ASSERT_EQ(config_.ldapClientModify(dn.data(), list.data()), 0) << key;
  }

  [[nodiscard]] ToolRun run(const Words& words) const {
    return run_tool(words, surroundings_);
  }

  void expect(const Words& words, int exit, const std::string& out,
              const std::string& err = "") const {
    const ToolRun result = run(words);
    SCOPED_TRACE(::testing::PrintToString(words));
    EXPECT_EQ(result.exit, exit);
    EXPECT_EQ(result.out, out);
    EXPECT_EQ(result.err, err);
  }

  test::Surroundings surroundings_;
  const test::TempFolder folder_;

 private:
  static attrval value_of(const std::string& name, const std::string& value) {
    attrval one{};
    name.copy(static_cast<char*>(one.name), sizeof one.name - 1);
    value.copy(static_cast<char*>(one.value), sizeof one.value - 1);
    return one;
  }

  cConfig config_;
};

TEST_F(ToolDirectory, GetsValues) {
  add("Tuning", {{"DNStimeout", "7"}, {"DNSretries", "3"}});
  add("Installed Components", {{"SMTPD", "YES"}});
  add("bsmtp", {{"BSMTPConfigFile", "one\r\ntwo\tGr\xC3\xBC\xC3\x9F"}});
  expect({"get", "tuning/dnsTIMEOUT"}, 0, "7\n");
  expect({"get", "Installed Components/SMTPD", "Tuning/DNSretries"}, 0,
         "YES\n3\n");
  expect({"get", "Tuning/DNS*"}, 0, "7\n3\n");
  expect({"get", "bsmtp/BSMTPConfigFile"}, 0,
         "one\\r\\ntwo\\tGr\xC3\xBC\xC3\x9F\n");
  expect({"get", "bsmtp/BSMTPConfigFile", "--json"}, 0,
         R"({"address":"bsmtp/BSMTPConfigFile","section":"bsmtp",)"
         R"("key":"BSMTPConfigFile","value":"one\r\ntwo\tGr)"
         "\xC3\xBC\xC3\x9F\"}\n");
}

TEST_F(ToolDirectory, SaysWhatIsNotSet) {
  add("Tuning", {{"DNStimeout", "7"}});
  expect({"get", "Tuning/DNSretries"}, 1, "",
         "configapi: Tuning/DNSretries is not set\n");
  expect({"get", "ldap/port"}, 1, "", "configapi: Ldap/Port is not set\n");
  expect({"get", "Ldap/Port", "Tuning/DNStimeout"}, 1, "7\n",
         "configapi: Ldap/Port is not set\n");
  expect({"get", "Tuning/SMTP*"}, 1, "",
         "configapi: nothing that matches 'Tuning/SMTP*' is set\n");
  expect({"list", "Ldap"}, 1, "",
         "configapi: nothing that matches 'Ldap' is set\n");
  expect({"get", "Tuning/DNSretrys"}, 3, "",
         "configapi: no setting 'Tuning/DNSretrys' in the schema; did you "
         "mean Tuning/DNSretries?\n");
}

TEST_F(ToolDirectory, ListsWhatItHolds) {
  // Not in the schema's order; a key of another section; a section of
  // somebody else's; a key with two values, of which the last counts.
  add("Tuning", {{"ConfigSerial", "3"},
                 {"DNSretries", "4"},
                 {"DNStimeout", "7"},
                 {"Port", "389"}});
  add("LocalMail", {{"TimeRetry", "5"}});
  add_value("LocalMail", "TimeRetry", "6");
  add("Elsewhere", {{"HostName", "mx"}});
  const std::string tuning =
      "Tuning/DNStimeout=7\nTuning/DNSretries=4\n? Tuning/Port=389\n";
  expect({"list"}, 0,
         tuning +
             "LocalMail/TimeRetry=5\nLocalMail/TimeRetry=6\n"
             "? Elsewhere/HostName=mx\n");
  expect({"get", "LocalMail/TimeRetry"}, 0, "6\n");
  expect({"list", "tuning"}, 0, tuning);
  expect({"list", "elsewhere/*"}, 0, "? Elsewhere/HostName=mx\n");
  expect({"list", "Tun*/port"}, 0, "? Tuning/Port=389\n");
  expect({"list", "LocalMail", "--all"}, 0,
         "LocalMail/HomeDir\nLocalMail/TimeRetry=5\nLocalMail/TimeRetry=6\n");
  expect({"--json", "list", "LocalMail", "--all", "-l"}, 0,
         R"({"address":"LocalMail/HomeDir","section":"LocalMail",)"
         R"("key":"HomeDir","set":false,"known":true,"type":"TYPE_NUMBER",)"
         R"("rule":"a whole number in digits alone, or empty","default":"5"})"
         "\n"
         R"({"address":"LocalMail/TimeRetry","section":"LocalMail",)"
         R"("key":"TimeRetry","set":true,"known":true,"value":"6",)"
         R"("values":["5","6"],"type":"TYPE_NUMBER",)"
         R"("rule":"a whole number in digits alone, or empty","default":"5"})"
         "\n");
}

TEST_F(ToolDirectory, WarnsOfEntriesThatNobodyReads) {
  add("Tuning", {{"DNStimeout", "7"}});
  add("Tuning,cn=Tuning", {{"DNStimeout", "8"}});
  expect({"list"}, 0, "Tuning/DNStimeout=7\n",
         "configapi: warning: the gateway does not read the entry "
         "cn=Tuning,cn=Tuning: another has the same section\n");
  expect({"-q", "list"}, 0, "Tuning/DNStimeout=7\n");
  expect({"get", "Tuning/DNStimeout"}, 0, "7\n");
}

TEST_F(ToolDirectory, AsksForThePassword) {
  add("Tuning", {{"DNStimeout", "7"}});
  surroundings_.names.erase("CONFIGAPI_PASSFILE");
  surroundings_.on_terminal = true;
  surroundings_.typed = directory().password() + "\n";
  const ToolRun let_in = run({"-y", "-", "get", "Tuning/DNStimeout"});
  EXPECT_EQ(let_in.exit, 0) << let_in;
  EXPECT_EQ(let_in.out, "7\n");
  EXPECT_EQ(let_in.err, "Password: \r\n") << "nothing is echoed";

  surroundings_.typed = "half\x03";  // the interrupt key
  const ToolRun interrupted = run({"-y", "-", "get", "Tuning/DNStimeout"});
  EXPECT_EQ(interrupted.exit, 128 + SIGINT) << interrupted;

  surroundings_.on_terminal = false;
  EXPECT_EQ(run({"-y", "-", "get", "Tuning/DNStimeout"}).exit, 8);
}

TEST_F(ToolDirectory, KeepsPasswordsToItself) {
  add("Ldap", {{"Password", "pssst"}, {"UserName", "5"}});
  expect({"list", "Ldap"}, 0, "Ldap/UserName=5\nLdap/Password=********\n");
  expect({"list", "Ldap/pass*", "--secrets"}, 0, "Ldap/Password=pssst\n");
  expect({"list", "Ldap/Pass*", "--json"}, 0,
         R"({"address":"Ldap/Password","section":"Ldap","key":"Password",)"
         R"("set":true,"known":true,"masked":true})"
         "\n");
  expect({"get", "Ldap/Password"}, 0, "pssst\n");
}

TEST_F(ToolDirectory, SaysWhoWasNotLetIn) {
  add("Tuning", {{"DNStimeout", "7"}});
  surroundings_.names["CONFIGAPI_PASSFILE"] = folder_.write("wrong", "wrong");
  const ToolRun refused = run({"get", "Tuning/DNStimeout"});
  EXPECT_EQ(refused.exit, 4) << refused;
  EXPECT_NE(refused.err.find("refused the bind as uid=gateway"),
            std::string::npos)
      << refused;

  surroundings_.names["CONFIGAPI_BINDDN"] = std::string(64, 'u');
  EXPECT_EQ(run({"list"}).exit, 4) << "too long for the library";

  surroundings_.names.erase("CONFIGAPI_BINDDN");
  surroundings_.names.erase("CONFIGAPI_PASSFILE");
  expect({"get", "Tuning/DNStimeout"}, 1, "",
         "configapi: Tuning/DNStimeout is not set, or not shown to a session "
         "without a bind (-D, -y)\n");
}

TEST_F(ToolDirectory, LogsOnRequest) {
  const ToolRun silent = run({"get", "Tuning/DNStimeout"});
  const ToolRun chatty = run({"-v", "get", "Tuning/DNStimeout"});
  EXPECT_EQ(chatty.exit, 1);
  EXPECT_EQ(silent.err, "configapi: Tuning/DNStimeout is not set\n");
  EXPECT_NE(chatty.err.find("LDAP Client API: ldap"), std::string::npos);
  surroundings_.names["CONFIGAPI_LOG_LEVEL"] = "6";
  EXPECT_NE(run({"get", "Tuning/DNStimeout"}).err.find("LDAP Client API: ldap"),
            std::string::npos);
}

}  // namespace
