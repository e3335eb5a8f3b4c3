// The tool against a directory.

#include <csignal>
#include <string>

#include "tools/directory_tool.h"

namespace {

using test::ToolRun;

class ToolDirectory : public test::DirectoryToolTest {
 protected:
  void SetUp() override {
    DirectoryToolTest::SetUp();
    if (IsSkipped() || HasFailure()) {
      return;
    }
    // Not in the schema's order; a key of another section; a section of
    // somebody else's; a key with two values, of which the last counts.
    add("cn=Tuning", {{0, "ConfigSerial", "3"},
                      {0, "DNSretries", "4"},
                      {0, "DNStimeout", "7"},
                      {0, "Port", "389"}});
    add("cn=LocalMail", {{0, "TimeRetry", "5"}, {0, "TimeRetry", "6"}});
    add("cn=Elsewhere", {{0, "HostName", "mx"}});
  }

  [[nodiscard]] std::string where() const {
    return "directory " + directory().host() + " port " +
           std::to_string(directory().port());
  }
};

TEST_F(ToolDirectory, GetsValues) {
  add("cn=Installed Components", {{0, "SMTPD", "YES"}});
  add("cn=bsmtp", {{0, "BSMTPConfigFile", "one\r\ntwo\tGr\xC3\xBC\xC3\x9F"}});
  check({
      {"get tuning/dnsTIMEOUT", 0, "7\n"},
      {"get LocalMail/TimeRetry", 0, "6\n"},
      {"get 'Installed Components/SMTPD' Tuning/DNSretries", 0, "YES\n4\n"},
      {"get Tuning/DNS*", 0, "7\n4\n"},
      {"get bsmtp/BSMTPConfigFile", 0, "one\\r\\ntwo\\tGr\xC3\xBC\xC3\x9F\n"},
      {"get bsmtp/BSMTPConfigFile --json", 0,
       R"({"address":"bsmtp/BSMTPConfigFile","section":"bsmtp",)"
       R"("key":"BSMTPConfigFile","value":"one\r\ntwo\tGr)"
       "\xC3\xBC\xC3\x9F\"}\n"},
      {"get ldap/port", 1, "", "configapi: Ldap/Port is not set\n"},
      {"get Ldap/Port Tuning/DNStimeout", 1, "7\n",
       "configapi: Ldap/Port is not set\n"},
      {"get Tuning/SMTP*", 1, "",
       "configapi: nothing that matches 'Tuning/SMTP*' is set\n"},
      {"list Ldap", 1, "", "configapi: nothing that matches 'Ldap' is set\n"},
  });
}

TEST_F(ToolDirectory, ListsWhatItHolds) {
  const std::string tuning =
      "Tuning/DNStimeout=7\nTuning/DNSretries=4\n? Tuning/Port=389\n";
  const std::string all = tuning +
                          "LocalMail/TimeRetry=5\nLocalMail/TimeRetry=6\n"
                          "? Elsewhere/HostName=mx\n";
  check({
      {"list", 0, all},
      {"list tuning", 0, tuning},
      {"list elsewhere/*", 0, "? Elsewhere/HostName=mx\n"},
      {"list Elsewhere", 0, "? Elsewhere/HostName=mx\n"},
      {"list Tun*/port", 0, "? Tuning/Port=389\n"},
      {"list LocalMail --all", 0,
       "LocalMail/HomeDir\nLocalMail/TimeRetry=5\nLocalMail/TimeRetry=6\n"},
      {"--json list LocalMail --all -l", 0,
       R"({"address":"LocalMail/HomeDir","section":"LocalMail",)"
       R"("key":"HomeDir","set":false,"known":true,"type":"TYPE_NUMBER",)"
       R"("rule":"a whole number in digits alone, or empty","default":"5"})"
       "\n"
       R"({"address":"LocalMail/TimeRetry","section":"LocalMail",)"
       R"("key":"TimeRetry","set":true,"known":true,"value":"6",)"
       R"("values":["5","6"],"type":"TYPE_NUMBER",)"
       R"("rule":"a whole number in digits alone, or empty","default":"5"})"
       "\n"},
  });
  add("cn=Tuning,cn=Tuning", {{0, "DNStimeout", "8"}});
  check({
      {"list", 0, all,
       "configapi: warning: the gateway does not read the entry "
       "cn=Tuning,cn=Tuning: another has the same section\n"},
      {"-q list", 0, all},
      {"get Tuning/DNStimeout", 0, "7\n"},
  });
}

TEST_F(ToolDirectory, KeepsPasswordsToItself) {
  add("cn=Ldap", {{0, "Password", "pssst"}, {0, "UserName", "5"}});
  add("cn=Pop", {{0, "Password;lang-en", "psst"}});
  check({
      {"list Pop", 0, "? Pop/Password;lang-en=********\n"},
      {"list Ldap", 0, "Ldap/UserName=5\nLdap/Password=********\n"},
      {"list Ldap/pass* --secrets", 0, "Ldap/Password=pssst\n"},
      {"list Ldap/Pass* --json", 0,
       R"({"address":"Ldap/Password","section":"Ldap","key":"Password",)"
       R"("set":true,"known":true,"masked":true})"
       "\n"},
      {"get Ldap/Password", 0, "pssst\n"},
  });
}

TEST_F(ToolDirectory, AsksForThePassword) {
  surroundings_.names.erase("CONFIGAPI_PASSFILE");
  surroundings_.on_terminal = true;
  surroundings_.typed = directory().password() + "\n";
  // Nothing is echoed.
  check({{"-y - get Tuning/DNStimeout", 0, "7\n", "Password: \r\n"}});
  surroundings_.typed = "half\x03";  // the interrupt key
  EXPECT_EQ(run("-y - get Tuning/DNStimeout").exit, 128 + SIGINT);
  surroundings_.on_terminal = false;
  EXPECT_EQ(run("-y - get Tuning/DNStimeout").exit, 8);
}

TEST_F(ToolDirectory, SaysWhoWasNotLetIn) {
  surroundings_.names["CONFIGAPI_PASSFILE"] = folder_.write("wrong", "wrong");
  const ToolRun refused = run("get Tuning/DNStimeout");
  EXPECT_EQ(refused.exit, 4) << refused;
  EXPECT_NE(refused.err.find("refused the bind as uid=gateway"),
            std::string::npos)
      << refused;
  surroundings_.names["CONFIGAPI_BINDDN"] = std::string(64, 'u');
  check({{"list", 2, "",
          "configapi: the bind DN (-D) has more than 63 bytes\n"}});
  surroundings_.names.erase("CONFIGAPI_BINDDN");
  surroundings_.names.erase("CONFIGAPI_PASSFILE");
  check({{"get Tuning/DNStimeout", 5, "",
          "configapi: " + where() +
              " refused the search of a session without a bind (-D, -y)\n"}});
}

TEST_F(ToolDirectory, TellsARefusalFromNothingFound) {
  constexpr int kServersLimit = 500;
  for (int i = 0; i <= kServersLimit; ++i) {
    add("cn=" + std::to_string(i));
  }
  check({{"list Tuning", 5, "",
          "configapi: " + where() +
              " refused the search, or has more entries than it shows at "
              "once\n"}});
}

TEST_F(ToolDirectory, LogsOnRequest) {
  EXPECT_EQ(run("get Ldap/Port").err, "configapi: Ldap/Port is not set\n");
  const ToolRun chatty = run("-v get Ldap/Port");
  EXPECT_EQ(chatty.exit, 1);
  EXPECT_NE(chatty.err.find("LDAP Client API: ldap"), std::string::npos);
  surroundings_.names["CONFIGAPI_LOG_LEVEL"] = "6";
  EXPECT_NE(run("get Ldap/Port").err.find("LDAP Client API: ldap"),
            std::string::npos);
}

}  // namespace
