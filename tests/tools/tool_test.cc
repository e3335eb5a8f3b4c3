// The tool without a directory: what it knows by itself, and how it fails.

#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <utility>

#include "support/stub_server.h"
#include "support/temp_folder.h"
#include "tools/run_tool.h"

namespace {

using test::check_tool;
using test::run_tool;
using test::StubServer;
using test::ToolRun;

TEST(Tool, AnswersFromTheSchema) {
  check_tool({
      {"get --table Options/LdapServer", 0, "bottom,top\n"},
      {"get options/LDAPSERVER --table", 0, "bottom,top\n"},
      {"get --table Tuning/DNStimeout Schedules/ccInSync", 0,
       "\nbase64,quoted-printable\n"},
      {"get --table Schedules/cc?[ni]Sync", 0, "base64,quoted-printable\n"},
      {"get --table [S]chedules/ccInSyn[c]", 0, "base64,quoted-printable\n"},
      {"--json get --table 'installed components/bsmtp'", 0,
       R"({"address":"Installed Components/BSMTP","section":"Installed )"
       R"(Components","key":"BSMTP","value":""})"
       "\n"},
      {"describe tuning/dnstimeout", 0,
       "Tuning/DNStimeout\n"
       "  type     TYPE_NUMBER\n"
       "  value    a whole number in digits alone, or empty\n"
       "  default  5\n"
       "  table    (empty)\n"},
      // A key that stands twice is of its first type.
      {"describe --json Schedules/AutoDialUp", 0,
       R"({"address":"Schedules/AutoDialUp","section":"Schedules",)"
       R"("key":"AutoDialUp","type":"TYPE_BOOLEAN_YN",)"
       R"("rule":"YES or NO, in any letter case","default":"NO","table":""})"
       "\n"},
  });
  const std::pair<const char*, long> counts[] = {
      {"", 226},  // 229 slots, of which three stand twice
      {"TUNING", 12},  {"Tun*", 12},     {"*/Host*", 3},
      {"hostname", 2}, {"*Password", 3},
  };
  for (const auto& [glob, count] : counts) {
    const ToolRun run = run_tool(std::string("--json describe ") + glob);
    EXPECT_EQ(test::lines_in(run.out), count) << glob << run.err;
  }
}

TEST(Tool, CompletesWords) {
  const std::string dns = "Tuning/DNStimeout\nTuning/DNSretries\n";
  check_tool({
      {"complete g", 0, "get\n"},
      {"complete get tuning/dns", 0, dns},
      {"complete -H get -p 7 --json get x/y Tuning/DNS", 0, dns},
      {"complete get -- -x tuning/dns", 0, dns},
      {"complete get Loc", 0, "LocalMail/\nLocal Components/\n"},
      {"complete list Loc", 0, "LocalMail\nLocal Components\n"},
      {"complete list localm", 0,
       "LocalMail\nLocalMail/HomeDir\nLocalMail/TimeRetry\n"},
      {"complete list Tuning ''", 0},  // it takes no more
      {"complete get -", 0,
       "--help\n--json\n--table\n--version\n-D\n-H\n-h\n-p\n-q\n-t\n-v\n-y\n"},
      {"complete completion z", 0, "zsh\n"},
      {"complete set tuning/dnst", 0, "Tuning/DNStimeout=\n"},
      {"complete check Tuning/DNStimeout=5", 0},
      {"complete -p 8 nonsense ''", 0,
       run_tool("complete ''").out},  // no command yet
      {"complete -y ''", 1},
      {"complete headers ''", 1},
      {"complete", 1},
  });
  check_tool({
      {R"(complete --line 'configapi get Tuning\/DNS')", 0, dns},
      {"complete --line ' configapi\t get \"tuning/DNSt'", 0,
       "Tuning/DNStimeout\n"},
      {R"(complete --line 'x get Local\ Components/cci')", 0,
       "Local Components/CCIN\n"},
      {R"(complete --line 'configapi list "" ')", 0},
      {"complete --line 'configapi'", 1},
  });
}

TEST(Tool, RefusesWhatItDoesNotKnow) {
  check_tool({
      {"-q -p 99999 describe", 2, ""},
      {"get Tuning/DNStimout", 3, "",
       "configapi: no setting 'Tuning/DNStimout' in the schema; did you mean "
       "Tuning/DNStimeout?\n"},
      {"get Tuning/Port", 3, "",
       "configapi: no setting 'Tuning/Port' in the schema; did you mean "
       "Ldap/Port?\n"},
      {"describe Gatewya", 3, "",
       "configapi: no section or key 'Gatewya' in the schema; did you mean "
       "Gateway?\n"},
      {"get Tuning/xyzzyxyzzy", 3, "",
       "configapi: no setting 'Tuning/xyzzyxyzzy' in the schema\n"},
      {"describe Tuning/X*", 3, "",
       "configapi: no setting matches 'Tuning/X*'\n"},
      // One wrong name of two: nothing is printed.
      {"get --table Options/LdapServer Options/Ldap", 3, "",
       "configapi: no setting 'Options/Ldap' in the schema\n"},
      {"get port", 2, "",
       "configapi: an address is SECTION/KEY, not 'port'; did you mean "
       "Ldap/Port?\n"},
      {"--json get Tuning/DNStimout", 3, "",
       R"({"error":"no setting 'Tuning/DNStimout' in the schema","exit":3,)"
       R"("nearest":"Tuning/DNStimeout"})"
       "\n"},
      // A name that would write to the terminal.
      {"describe \x1b]2;J\n", 3, "",
       "configapi: no section or key '\\x1B]2;J\\n' in the schema\n"},
      {"-q get Tuning/DNStimout", 3},
      {"descirbe", 2, "",
       "configapi: no command 'descirbe'; did you mean describe?\n"},
  });
}

// Messages of the option parser are its own affair, but for their form.
TEST(Tool, RefusesABadCommandLine) {
  const test::TempFolder folder;
  const std::string file = folder.write("password", "secret\n");
  for (const auto& line :
       {std::string(), std::string("get"), std::string("--nonsense describe"),
        std::string("describe --nonsense"), std::string("-p 0 describe"),
        std::string("-p 65536 describe"), std::string("-p ldap describe"),
        std::string("-t 0 describe"), std::string("-t soon describe"),
        std::string("-D uid=gateway get Ldap/Port"),
        "-y " + file + " get Ldap/Port"}) {
    const ToolRun run = run_tool(line);
    EXPECT_EQ(run.exit, 2) << run;
    EXPECT_EQ(run.out, "");
    EXPECT_TRUE(run.err.starts_with("configapi: ")) << run;
    EXPECT_EQ(test::lines_in(run.err), 1) << run;
  }
  EXPECT_EQ(run_tool("describe", {.names = {{"CONFIGAPI_PORT", "no"}}}).exit,
            2);
}

TEST(Tool, NeedsAReadablePassword) {
  const test::TempFolder folder;
  for (const std::string& file :
       {folder.path("missing"), folder.path(""), folder.write("empty", ""),
        folder.write("blank", "\n"),
        folder.write("long", std::string(5000, 'x')),
        folder.write("nul", std::string("a\0b", 3))}) {
    const ToolRun run = run_tool("-D uid=gateway get Ldap/Port -y " + file);
    EXPECT_EQ(run.exit, 8) << file << "\n" << run;
    EXPECT_EQ(run.out, "");
  }
}

TEST(Tool, SaysWhatItIsAndNoticesThatItsOutputIsLost) {
  EXPECT_NE(run_tool("--help").out.find("CONFIGAPI_HOST"), std::string::npos);
  EXPECT_TRUE(run_tool("--version").out.starts_with("configapi "));
  check_tool(
      {{"describe", 8, "",
        "configapi: cannot write standard output: No space left on device\n"},
       {"get --table Options/LdapServer", 8, "",
        "configapi: cannot write standard output: No space left on device\n"},
       {"--help", 8, "",
        "configapi: cannot write standard output: No space left on device\n"}},
      {.out_file = "/dev/full"});
}

TEST(Tool, SaysWhereItReachedNobody) {
  const std::string port =
      std::to_string(StubServer(0, StubServer::Ending::kSilence).port());
  const ToolRun run = run_tool("-H 127.0.0.1 -p " + port + " get Ldap/Port");
  EXPECT_EQ(run.exit, 4) << run;
  EXPECT_EQ(run.out, "");
  EXPECT_TRUE(run.err.starts_with("configapi: directory 127.0.0.1 port " +
                                  port + " is not reachable"))
      << run;
  EXPECT_EQ(
      run_tool("list", {.names = {{"CONFIGAPI_HOST", "name.invalid"}}}).exit,
      4);
  EXPECT_EQ(run_tool("list -H " + std::string(64, 'h')).exit, 2);
}

TEST(Tool, EndsInTimeWhereNobodyAnswers) {
  const test::TempFolder folder;
  const std::string bound =
      "-D uid=gateway -y " + folder.write("password", "secret\n");
  const StubServer server(0, StubServer::Ending::kSilence);
  for (const std::string& command :
       {std::string("get Ldap/Port"), std::string("list"),
        bound + " get Ldap/Port", "--json " + bound + " list"}) {
    const auto start = std::chrono::steady_clock::now();
    const ToolRun run = run_tool("-H 127.0.0.1 -t 1 -p " +
                                 std::to_string(server.port()) + " " + command);
    EXPECT_EQ(run.exit, 4) << run;
    EXPECT_NE(run.err.find("did not answer within 1 s"), std::string::npos)
        << run;
    EXPECT_LT(std::chrono::steady_clock::now() - start,
              std::chrono::seconds(20))
        << "the library's own is 360";
  }
}

}  // namespace
