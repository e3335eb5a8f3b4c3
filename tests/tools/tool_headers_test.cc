// How the tool shows and explains the headers of messages and mailboxes.

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "support/temp_folder.h"
#include "tools/run_tool.h"

namespace {

using test::run_tool;
using test::ToolRun;
using test::Words;

#ifdef CONFIGAPI_SANITIZED
constexpr bool kSanitized = true;
#else
constexpr bool kSanitized = false;
#endif

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

class ToolHeaders : public ::testing::Test {
 protected:
  const test::TempFolder folder_;
  const std::string file_ = folder_.write("mbox", kMailbox);
};

TEST_F(ToolHeaders, ShowsEveryMessage) {
  const ToolRun run = run_tool({"headers", file_});
  EXPECT_EQ(run.exit, 0) << run;
  EXPECT_EQ(run.err, "") << "no progress where there is no terminal";
  EXPECT_EQ(run.out, file_ +
                         ": message 1, line 1, byte 0\n"
                         "  date: Mon, 16 Nov 1998 15:48 -0500\n"
                         "  from: ann@example.com\n"
                         "    phrase   Ann\n"
                         "    local    ann\n"
                         "    domain   example.com\n"
                         "    written  Ann <ann@example.com>\n"
                         "  to: bob@example.org\n"
                         "    local    bob\n"
                         "    domain   example.org\n"
                         "  to: <@relay:carl@example.net>\n"
                         "    local    carl\n"
                         "    domain   example.net\n"
                         "  envelope: ann@example.com Mon Nov 16 15:48:37 "
                         "1998\n"
                         "  subject: one\\r\\n\\ttwo\n"
                         "  status: RO\n"
                         "  other: X-mailer: abc\\xE9\n" +
                         file_ +
                         ": message 2, line 17, byte 308\n"
                         "  to: x@y\n"
                         "    local    x\n"
                         "    domain   y\n"
                         "  envelope: bob@example.org Tue Nov 17 09:00:00 "
                         "1998\n");
}

TEST_F(ToolHeaders, ExplainsWhatBecameOfTheLines) {
  const ToolRun run =
      run_tool({"headers", "--explain", "--field", "sender", file_});
  EXPECT_EQ(run.exit, 1) << "there is no such field";
  EXPECT_EQ(
      run.out,
      "  ! line 3: To: offset 10: ',' cannot stand here; 'John Smith' is left "
      "out\n"
      "  ! line 7: Date: read as year 1998, month 11, day 16, time 15:48, -300 "
      "minutes east of UTC\n"
      "  ! line 9: 'nonsense here' is no header: its first word does not end "
      "in ':'\n"
      "  ! line 10: 'To : nobody@example.com' is no header: a blank stands "
      "before the ':'\n"
      "  ! line 11: Subject: the header stood before already, and the first "
      "one counts\n"
      "  ! line 15: 'From dan@example.com Tue Nov 17 09:00 1998' begins no "
      "message: it has no time with hours, minutes and seconds\n");
}

TEST_F(ToolHeaders, ExplainsLinesThatWereCut) {
  const std::string file =
      folder_.write("cut", std::string(" leading\nSubject: a") + '\0' +
                               "b\nSender: c\rd\nSubject: e\rf\r\nDate: soon\n"
                               "X-Long: " +
                               std::string(70000, 'x') + "\n\n");
  const ToolRun run = run_tool({"headers", "--explain", "--field=none", file});
  EXPECT_EQ(
      run.out,
      "  ! line 1: '\\r\\n\\tleading' is no header: its first word does not "
      "end in ':'\n"
      "  ! line 2: offset 10: 'b' is left out: it stands behind a NUL byte\n"
      "  ! line 3: offset 9: 'd' is left out: it stands behind a carriage "
      "return\n"
      "  ! line 4: Subject: the header stood before already, and the first one "
      "counts\n"
      "  ! line 5: Date: offset 4: the day of the month, in digits, should "
      "stand here\n"
      "  ! line 5: Date: the time of reading stands in for the date\n"
      "  ! line 6: 5497 bytes of this line are beyond what a header can "
      "have\n");
}

TEST_F(ToolHeaders, PrintsChosenFields) {
  struct Case {
    const char* what;
    Words fields;
    int exit;
    const char* out;
  };
  const std::vector<Case> cases = {
      {"addresses, one per line",
       {"--field", "To"},
       0,
       "bob@example.org\n<@relay:carl@example.net>\nx@y\n"},
      {"two fields, one of them in no table",
       {"--field", "subject:", "--field=X-MAILER"},
       0,
       "one\\r\\n\\ttwo\nabc\\xE9\n"},
      {"no message has it", {"--field", "cc"}, 1, ""},
  };
  for (const Case& row : cases) {
    Words words{"headers", file_};
    words.insert(words.end(), row.fields.begin(), row.fields.end());
    const ToolRun run = run_tool(words);
    EXPECT_EQ(run.exit, row.exit) << row.what;
    EXPECT_EQ(run.out, row.out) << row.what;
  }
  const ToolRun object =
      run_tool({"headers", "--json", "--field", "status", file_});
  EXPECT_EQ(object.out, R"({"file":")" + file_ +
                            R"(","message":1,"line":1,"byte":0,)"
                            R"("header_lines":13,"status_line":12,)"
                            R"("fields":{"status":"RO"}})"
                            "\n"
                            R"({"file":")" +
                            file_ +
                            R"(","message":2,"line":17,"byte":308,)"
                            R"("header_lines":3,"fields":{}})"
                            "\n");
}

TEST_F(ToolHeaders, ReadsStandardInputFromWhereItStands) {
  const Words words{"headers", "--field", "to"};
  const std::string all = "bob@example.org\n<@relay:carl@example.net>\nx@y\n";
  EXPECT_EQ(run_tool(words, {.input = kMailbox}).out, all) << "a pipe";
  EXPECT_EQ(run_tool(words, {.in_file = file_}).out, all) << "a file";
  EXPECT_EQ(run_tool(words, {.in_file = file_, .in_offset = 308}).out, "x@y\n");
  EXPECT_EQ(run_tool({"headers"}, {.in_file = "/dev/null"}).out, "");
  EXPECT_EQ(
      run_tool(words, {.input = "To: a@b\n", .names = {{"TMPDIR", "/x"}}}).exit,
      8)
      << "nowhere to keep a copy of the pipe";
}

TEST_F(ToolHeaders, TakesAFileWithoutEnvelopeForOneMessage) {
  const std::string file =
      folder_.write("message", std::string("To: a@b\n\nbody\n") + kMailbox);
  EXPECT_EQ(run_tool({"headers", "--field", "to", file}).out, "a@b\n");
}

TEST_F(ToolHeaders, GoesOnBehindAFileThatItCannotRead) {
  const ToolRun run = run_tool(
      {"headers", "--field=to", folder_.path("none"), folder_.path(""), file_});
  EXPECT_EQ(run.exit, 8) << run;
  EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 2) << run;
  EXPECT_EQ(std::count(run.out.begin(), run.out.end(), '\n'), 3) << run;
  EXPECT_EQ(run_tool({"headers", file_}, {.out_file = "/dev/full"}).exit, 8);
}

TEST_F(ToolHeaders, ShowsProgressOnATerminal) {
  const ToolRun run =
      run_tool({"headers", "--field=subject", file_}, {.on_terminal = true});
  EXPECT_EQ(run.exit, 0);
  EXPECT_NE(run.err.find(" % read, 1 messages"), std::string::npos) << run;
  EXPECT_TRUE(run.err.ends_with("\r\x1b[K")) << "the line is gone in the end";
}

// A mailbox of so many messages with bodies of some length.
std::string many_messages(int count) {
  std::string mailbox;
  for (int i = 0; i < count; ++i) {
    mailbox += "From a@b Mon Nov 16 15:48:37 1998\nTo: a@b\nSubject: " +
               std::to_string(i) + "\n\n" + std::string(700, 'x') + "\n\n";
  }
  return mailbox;
}

// With the header of each message kept, there would be some 20 MiB of them.
TEST_F(ToolHeaders, KeepsItsMemorySmall) {
  if (kSanitized) {
    GTEST_SKIP() << "a sanitizer needs memory of its own";
  }
  constexpr int kMessages = 20000;
  const std::string bytes = many_messages(kMessages);
  const std::string file = folder_.write("big", bytes);
  for (const auto& from :
       {test::Surroundings{.input = bytes, .data_mib = 8},
        test::Surroundings{.in_file = file, .data_mib = 8}}) {
    const ToolRun run = run_tool({"headers", "--json", "--explain"}, from);
    EXPECT_EQ(run.exit, 0) << run.err;
    EXPECT_EQ(std::count(run.out.begin(), run.out.end(), '\n'), kMessages);
  }
}

// Real mail, where it is present: every file is read to its end.
TEST_F(ToolHeaders, ReadsRealMail) {
  const std::filesystem::path corpus = CONFIGAPI_CORPUS_FOLDER;
  if (!std::filesystem::exists(corpus)) {
    GTEST_SKIP() << "no corpus at " << corpus;
  }
  Words words{"headers", "--json", "--explain"};
  std::size_t files = 0;
  for (const char* folder : {"mbox", "messages"}) {
    for (const auto& entry :
         std::filesystem::recursive_directory_iterator(corpus / folder)) {
      if (entry.is_regular_file()) {
        words.push_back(entry.path());
        ++files;
      }
    }
  }
  const ToolRun run = run_tool(words);
  EXPECT_EQ(run.exit, 0);
  EXPECT_EQ(run.err, "");
  EXPECT_GT(static_cast<std::size_t>(
                std::count(run.out.begin(), run.out.end(), '\n')),
            files);
}

}  // namespace
