// The tool without a directory, where a transcript cannot show it: on a
// terminal, and where nobody answers.

#include <gtest/gtest.h>

#include <chrono>
#include <string>

#include "support/stub_server.h"
#include "support/temp_folder.h"
#include "tools/run_tool.h"

namespace {

using test::run_tool;
using test::StubServer;
using test::ToolRun;

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

TEST(Tool, ShowsProgressOnATerminal) {
  const test::TempFolder folder;
  const std::string file =
      folder.write("mbox", "From a@b Mon Nov 16 15:48:37 1998\nTo: a@b\n\n");
  const ToolRun run = run_tool("headers " + file, {.on_terminal = true});
  EXPECT_EQ(run.exit, 0);
  EXPECT_NE(run.err.find(" % read, 1 messages"), std::string::npos) << run;
  EXPECT_TRUE(run.err.ends_with("\r\x1b[K")) << "the line is gone in the end";
}

}  // namespace
