// The tool without a directory: what it knows by itself, and how it fails.

#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <string>
#include <vector>

#include "support/temp_folder.h"
#include "tools/run_tool.h"

namespace {

using test::run_tool;
using test::ToolRun;
using test::Words;

struct Case {
  const char* what;
  Words words;
  int exit;
  const char* out;
  const char* err;
};

void check(const Case& row, const ToolRun& run) {
  SCOPED_TRACE(row.what);
  EXPECT_EQ(run.exit, row.exit) << run;
  EXPECT_EQ(run.out, row.out);
  EXPECT_EQ(run.err, row.err);
}

TEST(Tool, AnswersFromTheSchema) {
  const std::vector<Case> cases = {
      {"a table value",
       {"get", "--table", "Options/LdapServer"},
       0,
       "bottom,top\n",
       ""},
      {"names in any letter case",
       {"get", "options/LDAPSERVER", "--table"},
       0,
       "bottom,top\n",
       ""},
      {"a value for each address",
       {"get", "--table", "Tuning/DNStimeout", "Schedules/ccInSync"},
       0,
       "\nbase64,quoted-printable\n",
       ""},
      {"a glob",
       {"get", "--table", "Schedules/cc?[ni]Sync"},
       0,
       "base64,quoted-printable\n",
       ""},
      {"a section with a blank",
       {"--json", "get", "--table", "installed components/bsmtp"},
       0,
       R"({"address":"Installed Components/BSMTP","section":"Installed )"
       R"(Components","key":"BSMTP","value":""})"
       "\n",
       ""},
      {"a description",
       {"describe", "tuning/dnstimeout"},
       0,
       "Tuning/DNStimeout\n"
       "  type     TYPE_NUMBER\n"
       "  value    a whole number in digits alone, or empty\n"
       "  default  5\n"
       "  table    (empty)\n",
       ""},
      {"a key that stands twice is of its first type",
       {"describe", "--json", "Schedules/AutoDialUp"},
       0,
       R"({"address":"Schedules/AutoDialUp","section":"Schedules",)"
       R"("key":"AutoDialUp","type":"TYPE_BOOLEAN_YN",)"
       R"("rule":"YES or NO, in any letter case","default":"NO","table":""})"
       "\n",
       ""},
  };
  for (const Case& row : cases) {
    check(row, run_tool(row.words));
  }
}

std::size_t lines_of(const Words& words) {
  const ToolRun run = run_tool(words);
  EXPECT_EQ(run.exit, 0) << run;
  return static_cast<std::size_t>(
      std::count(run.out.begin(), run.out.end(), '\n'));
}

TEST(Tool, SelectsSectionsAndKeys) {
  EXPECT_EQ(lines_of({"--json", "describe"}), 226U)
      << "229 slots, of which three stand twice";
  EXPECT_EQ(lines_of({"--json", "describe", "TUNING"}), 12U) << "a section";
  EXPECT_EQ(lines_of({"--json", "describe", "Tun*"}), 12U) << "a glob";
  EXPECT_EQ(lines_of({"--json", "describe", "*/Host*"}), 3U);
  EXPECT_EQ(lines_of({"--json", "describe", "hostname"}), 2U)
      << "a key of several sections";
  EXPECT_EQ(lines_of({"--json", "describe", "*Password"}), 3U);
}

TEST(Tool, RefusesWhatItDoesNotKnow) {
  const std::vector<Case> cases = {
      {"a misspelt key",
       {"get", "Tuning/DNStimout"},
       3,
       "",
       "configapi: no setting 'Tuning/DNStimout' in the schema; did you mean "
       "Tuning/DNStimeout?\n"},
      {"a key of another section",
       {"get", "Tuning/Port"},
       3,
       "",
       "configapi: no setting 'Tuning/Port' in the schema; did you mean "
       "Ldap/Port?\n"},
      {"two letters exchanged",
       {"describe", "Gatewya"},
       3,
       "",
       "configapi: no section or key 'Gatewya' in the schema; did you mean "
       "Gateway?\n"},
      {"nothing near",
       {"get", "Tuning/xyzzyxyzzy"},
       3,
       "",
       "configapi: no setting 'Tuning/xyzzyxyzzy' in the schema\n"},
      {"a glob without a match",
       {"describe", "Tuning/X*"},
       3,
       "",
       "configapi: no setting matches 'Tuning/X*'\n"},
      {"one wrong name of two: nothing is printed",
       {"get", "--table", "Options/LdapServer", "Options/Ldap"},
       3,
       "",
       "configapi: no setting 'Options/Ldap' in the schema\n"},
      {"no slash",
       {"get", "port"},
       2,
       "",
       "configapi: an address is SECTION/KEY, not 'port'; did you mean "
       "Ldap/Port?\n"},
      {"an error as an object",
       {"--json", "get", "Tuning/DNStimout"},
       3,
       "",
       R"({"error":"no setting 'Tuning/DNStimout' in the schema","exit":3,)"
       R"("nearest":"Tuning/DNStimeout"})"
       "\n"},
      {"a name that would write to the terminal",
       {"describe", "\x1b]2;J\n"},
       3,
       "",
       "configapi: no section or key '\\x1B]2;J\\n' in the schema\n"},
      {"quiet", {"-q", "get", "Tuning/DNStimout"}, 3, "", ""},
      {"a misspelt command",
       {"descirbe"},
       2,
       "",
       "configapi: no command 'descirbe'; did you mean describe?\n"},
  };
  for (const Case& row : cases) {
    check(row, run_tool(row.words));
  }
}

// Messages of the option parser are its own affair, but for their form.
TEST(Tool, RefusesABadCommandLine) {
  const test::TempFolder folder;
  const std::string file = folder.write("password", "secret\n");
  const std::vector<Words> lines = {
      {},
      {"get"},
      {"--nonsense", "describe"},
      {"describe", "--nonsense"},
      {"-p", "0", "describe"},
      {"-p", "65536", "describe"},
      {"-p", "ldap", "describe"},
      {"-t", "0", "describe"},
      {"-t", "soon", "describe"},
      {"-D", "uid=gateway", "get", "Ldap/Port"},
      {"-y", file, "get", "Ldap/Port"},
  };
  for (const Words& words : lines) {
    const ToolRun run = run_tool(words);
    EXPECT_EQ(run.exit, 2) << run;
    EXPECT_EQ(run.out, "");
    EXPECT_TRUE(run.err.starts_with("configapi: ")) << run;
    EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1) << run;
  }
  EXPECT_EQ(run_tool({"describe"}, {.names = {{"CONFIGAPI_PORT", "no"}}}).exit,
            2);
}

TEST(Tool, SaysWhatItIs) {
  const ToolRun help = run_tool({"--help"});
  EXPECT_EQ(help.exit, 0);
  EXPECT_NE(help.out.find("CONFIGAPI_HOST"), std::string::npos) << help;
  const ToolRun version = run_tool({"--version"});
  EXPECT_EQ(version.exit, 0);
  EXPECT_TRUE(version.out.starts_with("configapi ")) << version;
}

TEST(Tool, NoticesThatItsOutputIsLost) {
  for (const Words& words :
       {Words{"describe"}, Words{"get", "--table", "Options/LdapServer"},
        Words{"--help"}}) {
    const ToolRun run = run_tool(words, {.out_file = "/dev/full"});
    EXPECT_EQ(run.exit, 8) << run;
    EXPECT_EQ(run.err,
              "configapi: cannot write standard output: No space left on "
              "device\n");
  }
}

TEST(Tool, NeedsAReadablePassword) {
  const test::TempFolder folder;
  for (const auto& file :
       {folder.path("missing"), folder.path(""), folder.write("empty", ""),
        folder.write("blank", "\n"),
        folder.write("long", std::string(5000, 'x')),
        folder.write("nul", std::string("a\0b", 3))}) {
    const ToolRun run =
        run_tool({"-D", "uid=gateway", "-y", file, "get", "Ldap/Port"});
    EXPECT_EQ(run.exit, 8) << file << "\n" << run;
    EXPECT_EQ(run.out, "");
  }
}

// A server's socket that accepts what the system accepts for it, and says
// nothing.
class SilentServer {
 public:
  SilentServer() : socket_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    auto* const generic = reinterpret_cast<sockaddr*>(&address);
    EXPECT_EQ(::bind(socket_, generic, sizeof address), 0);
    EXPECT_EQ(::listen(socket_, 5), 0);
    socklen_t size = sizeof address;
    EXPECT_EQ(::getsockname(socket_, generic, &size), 0);
    port_ = std::to_string(ntohs(address.sin_port));
  }
  ~SilentServer() { ::close(socket_); }
  SilentServer(const SilentServer&) = delete;
  SilentServer& operator=(const SilentServer&) = delete;
  SilentServer(SilentServer&&) = delete;
  SilentServer& operator=(SilentServer&&) = delete;

  [[nodiscard]] const std::string& port() const { return port_; }

 private:
  int socket_;
  std::string port_;
};

std::string closed_port() {
  return SilentServer().port();
}

TEST(Tool, SaysWhereItReachedNobody) {
  const std::string port = closed_port();
  const ToolRun run =
      run_tool({"-H", "127.0.0.1", "-p", port, "get", "Ldap/Port"});
  EXPECT_EQ(run.exit, 4) << run;
  EXPECT_EQ(run.out, "");
  EXPECT_TRUE(run.err.starts_with("configapi: directory 127.0.0.1 port " +
                                  port + " is not reachable"))
      << run;

  const ToolRun nowhere =
      run_tool({"list"}, {.names = {{"CONFIGAPI_HOST", "name.invalid"}}});
  EXPECT_EQ(nowhere.exit, 4) << nowhere;
  const ToolRun too_long =
      run_tool({"-H", std::string(64, 'h'), "get", "Ldap/Port"});
  EXPECT_EQ(too_long.exit, 4) << too_long;
}

TEST(Tool, EndsInTimeWhereNobodyAnswers) {
  const test::TempFolder folder;
  const std::string file = folder.write("password", "secret\n");
  const SilentServer server;
  for (const Words& command :
       {Words{"get", "Ldap/Port"}, Words{"list"},
        Words{"-D", "uid=gateway", "-y", file, "get", "Ldap/Port"},
        Words{"--json", "-D", "uid=gateway", "-y", file, "list"}}) {
    Words words{"-H", "127.0.0.1", "-p", server.port(), "-t", "1"};
    words.insert(words.end(), command.begin(), command.end());
    const auto start = std::chrono::steady_clock::now();
    const ToolRun run = run_tool(words);
    const auto took = std::chrono::steady_clock::now() - start;
    EXPECT_EQ(run.exit, 4) << run;
    EXPECT_NE(run.err.find("did not answer within 1 s"), std::string::npos)
        << run;
    EXPECT_LT(took, std::chrono::seconds(20)) << "the library's own is 360";
  }
}

}  // namespace
