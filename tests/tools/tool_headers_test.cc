// How the tool shows and explains the headers of messages and mailboxes.

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "support/temp_folder.h"
#include "tools/run_tool.h"

namespace {

using test::run_tool;
using test::ToolRun;

constexpr const char* kMailbox =
    "From ann@example.com Mon Nov 16 15:48:37 1998\n"
    "From: Ann <ann@example.com>\n"
    "To: John Smith, bob@example.org,\n\t<@relay:carl@example.net>\n"
    "Subject: one\n  two\n"
    "Date: 16 Nov 98 15:48 EST\n"
    "X-Mailer: abc\xE9\n"
    "nonsense here\n"
    "To : nobody@example.com\n"
    "Subject: again\n"
    "Status: RO\n"
    "\n"
    "body\n"
    "From dan@example.com Tue Nov 17 09:00 1998\n\n"
    "From bob@example.org Tue Nov 17 09:00:00 1998\r\n"
    "To: x@y\r\n"
    "\r\n"
    "bye\r\n";

constexpr const char* kRecipients =
    "bob@example.org\n<@relay:carl@example.net>\nx@y\n";

constexpr const char* kNone = "configapi: no message has such a field\n";

class ToolHeaders : public ::testing::Test {
 protected:
  const test::TempFolder folder_;
  const std::string file_ = folder_.write("mbox", kMailbox);
};

TEST_F(ToolHeaders, ShowsEveryMessage) {
  test::check_tool(
      {{"headers " + file_, 0, file_ + R"(: message 1, line 1, byte 0
  date: Mon, 16 Nov 1998 15:48 -0500
  from: ann@example.com
    phrase   Ann
    local    ann
    domain   example.com
    written  Ann <ann@example.com>
  to: bob@example.org
    local    bob
    domain   example.org
  to: <@relay:carl@example.net>
    local    carl
    domain   example.net
  envelope: ann@example.com Mon Nov 16 15:48:37 1998
  subject: one\r\n\ttwo
  status: RO
  other: X-mailer: abc\xE9
)" + file_ + R"(: message 2, line 17, byte 308
  to: x@y
    local    x
    domain   y
  envelope: bob@example.org Tue Nov 17 09:00:00 1998
)"}});
}

TEST_F(ToolHeaders, ExplainsWhatBecameOfTheLines) {
  // There is no such field, so that the remarks stand alone.
  test::check_tool(
      {{"headers --explain --field sender " + file_, 1,
        R"(  ! line 3: To: offset 10: ',' cannot stand here; 'John Smith' is left out
  ! line 7: Date: read as year 1998, month 11, day 16, time 15:48, -300 minutes east of UTC
  ! line 9: 'nonsense here' is no header: its first word does not end in ':'
  ! line 10: 'To : nobody@example.com' is no header: a blank stands before the ':'
  ! line 11: Subject: the header stood before already, and the first one counts
  ! line 15: 'From dan@example.com Tue Nov 17 09:00 1998' begins no message: it has no time with hours, minutes and seconds
)",
        kNone}});
  const std::string cut = std::string(" leading\nSubject: a") + '\0' +
                          "b\nSender: c\rd\nSubject: e\rf\r\nDate: soon\n"
                          "X-Long: " +
                          std::string(70000, 'x') + "\n\n";
  test::check_tool(
      {{"headers --explain --field=none " + folder_.write("cut", cut), 1,
        R"(  ! line 1: '\r\n\tleading' is no header: its first word does not end in ':'
  ! line 2: offset 10: 'b' is left out: it stands behind a NUL byte
  ! line 3: offset 9: 'd' is left out: it stands behind a carriage return
  ! line 4: Subject: the header stood before already, and the first one counts
  ! line 5: Date: offset 4: the day of the month, in digits, should stand here
  ! line 5: Date: the time of reading stands in for the date
  ! line 6: 5497 bytes of this line are beyond what a header can have
)",
        kNone}});
}

TEST_F(ToolHeaders, PrintsChosenFields) {
  test::check_tool({
      {"headers --field To " + file_, 0, kRecipients},
      {"headers --field subject: --field=X-MAILER " + file_, 0,
       "one\\r\\n\\ttwo\nabc\\xE9\n"},
      {"headers --field cc " + file_, 1, "", kNone},
      {"headers --json --field status " + file_, 0,
       R"({"file":")" + file_ +
           R"(","message":1,"line":1,"byte":0,"header_lines":13,)"
           R"("status_line":12,"fields":{"status":"RO"}})"
           "\n"
           R"({"file":")" +
           file_ +
           R"(","message":2,"line":17,"byte":308,"header_lines":3,)"
           R"("fields":{}})"
           "\n"},
      // Without an envelope a file is one message.
      {"headers --field to " +
           folder_.write("message", std::string("To: a@b\n\n") + kMailbox),
       0, "a@b\n"},
  });
}

TEST_F(ToolHeaders, ReadsStandardInputFromWhereItStands) {
  const std::string line = "headers --field to";
  test::check_tool({{line, 0, kRecipients}}, {.input = kMailbox});
  test::check_tool({{line, 0, kRecipients}}, {.in_file = file_});
  test::check_tool({{line, 0, "x@y\n"}}, {.in_file = file_, .in_offset = 308});
  test::check_tool({{"headers", 0}}, {.in_file = "/dev/null"});
  EXPECT_EQ(
      run_tool(line, {.input = "To: a@b\n", .names = {{"TMPDIR", "/x"}}}).exit,
      8)
      << "nowhere to keep a copy of the pipe";
}

TEST_F(ToolHeaders, GoesOnBehindAFileThatItCannotRead) {
  const ToolRun run = run_tool("headers --field=to " + folder_.path("none") +
                               " " + folder_.path("") + " " + file_);
  EXPECT_EQ(run.exit, 8) << run;
  EXPECT_EQ(test::lines_in(run.err), 2) << run;
  EXPECT_EQ(run.out, kRecipients);
  EXPECT_EQ(run_tool("headers " + file_, {.out_file = "/dev/full"}).exit, 8);
}

TEST_F(ToolHeaders, ShowsProgressOnATerminal) {
  const ToolRun run =
      run_tool("headers --field=subject " + file_, {.on_terminal = true});
  EXPECT_EQ(run.exit, 0);
  EXPECT_NE(run.err.find(" % read, 1 messages"), std::string::npos) << run;
  EXPECT_TRUE(run.err.ends_with("\r\x1b[K")) << "the line is gone in the end";
}

// With the header of each message kept, there would be some 20 MiB of them.
TEST_F(ToolHeaders, KeepsItsMemorySmall) {
#ifdef CONFIGAPI_SANITIZED
  GTEST_SKIP() << "a sanitizer needs memory of its own";
#endif
  constexpr int kMessages = 20000;
  std::string bytes;
  for (int i = 0; i < kMessages; ++i) {
    bytes += "From a@b Mon Nov 16 15:48:37 1998\nTo: a@b\nSubject: " +
             std::to_string(i) + "\n\n" + std::string(700, 'x') + "\n\n";
  }
  const std::string file = folder_.write("big", bytes);
  for (const auto& from :
       {test::Surroundings{.input = bytes, .data_mib = 8},
        test::Surroundings{.in_file = file, .data_mib = 8}}) {
    const ToolRun run = run_tool("headers --json --explain", from);
    EXPECT_EQ(run.exit, 0) << run.err;
    EXPECT_EQ(test::lines_in(run.out), kMessages);
  }
}

// Real mail, where it is present: every file is read to its end.
TEST_F(ToolHeaders, ReadsRealMail) {
  const std::filesystem::path corpus = CONFIGAPI_CORPUS_FOLDER;
  if (!std::filesystem::exists(corpus)) {
    GTEST_SKIP() << "no corpus at " << corpus;
  }
  std::string line = "headers --json --explain";
  long files = 0;
  for (const char* folder : {"mbox", "messages"}) {
    for (const auto& entry :
         std::filesystem::recursive_directory_iterator(corpus / folder)) {
      if (entry.is_regular_file()) {
        line += " '" + entry.path().string() + "'";
        ++files;
      }
    }
  }
  const ToolRun run = run_tool(line);
  EXPECT_EQ(run.exit, 0);
  EXPECT_EQ(run.err, "");
  EXPECT_GT(test::lines_in(run.out), files);
}

}  // namespace
