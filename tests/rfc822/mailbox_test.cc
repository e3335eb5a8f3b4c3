#include <configapi/rfc822.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <memory>
#include <string>

#include "support/temp_folder.h"

using namespace std::string_literals;  // NOLINT(google-build-using-namespace)

namespace {

TEST(EnvelopeLine, IsTold) {
  const struct {
    const char* line;
    int expected;
  } rows[] = {
      {"From a@b Mon Jan  1 10:00:00 1998\n", 1},
      {"From a@b Mon Jan  1 10:00:00 1998\r\n", 1},
      {"From a@b Mon Jan  1 10:00:00 1998", 1},
      {"From - Mon Jan  1 10:00:00 199\n", 1},
      {"From a@b Mon Jan  1 10:00:00 19980\n", 1},
      {"From a@b Mon Jan  1 10:00:00 1998x\n", 1},  // 4 of "1998x\n"
      {"From a@b Mon Jan  1 10:00:00 199x8\n", 0},
      {"From a@b Mon Jan  1 10:00:00 1998 +0100\n", 0},
      {"From a@b Mon Jan  1 10:00:00 1998 \n", 0},
      {"From a@b Mon Jan  1 10:00:00 1998 ", 0},
      {"From a@b Mon Jan  1 10:00:00 5\n", 0},
      {"From a@b Mon Jan  1 10:00:00 5", 0},
      {"From : : 12", 1},
      {"From ::1998\n", 0},  // the word is "::1998"
      {"From x:1 :2 1998\n", 1},
      {"From a@b 10:00 1998\n", 0},
      {"From a@b\n", 0},
      {"From: a@b\n", 0},
      {"From\ta@b Mon Jan  1 10:00:00 1998\n", 0},
      {"from a@b Mon Jan  1 10:00:00 1998\n", 0},
      {">From a@b Mon Jan  1 10:00:00 1998\n", 0},
      {"From ", 0},
      {"From", 0},
      {"\n", 0},
      {"", 0},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(isNextMsgHeader(row.line), row.expected) << row.line;
  }
}

struct CloseFile {
  void operator()(std::FILE* stream) const { std::fclose(stream); }
};
using Stream = std::unique_ptr<std::FILE, CloseFile>;

class Mailbox : public testing::Test {
 protected:
  Stream open(const std::string& bytes) {
    return Stream(std::fopen(folder_.write("mbox", bytes).c_str(), "r"));
  }
  const std::string envelope_ = "From a@b Mon Jan  1 10:00:00 1998\n";

 private:
  test::TempFolder folder_;
};

TEST_F(Mailbox, IsReadUpToTheNextEnvelopeLine) {
  const std::string body = "one\nFrom here to there\n\nF\n";
  const Stream stream = open("skip\n" + body + envelope_ + "To: x@y\n");
  std::fseek(stream.get(), 5, SEEK_SET);
  long end = 0;
  unsigned lines = 10;
  EXPECT_EQ(ParseBody(stream.get(), &end, &lines), 1);
  EXPECT_EQ(lines, 14U);
  EXPECT_EQ(end, static_cast<long>(5 + body.size()));
  EXPECT_EQ(std::ftell(stream.get()), end);
  // Nothing lies in between, as often as it is asked.
  EXPECT_EQ(ParseBody(stream.get(), &end, &lines), 1);
  EXPECT_EQ(lines, 14U);
  char line[80];
  EXPECT_EQ(std::fgets(line, sizeof line, stream.get()), line);
  EXPECT_EQ(line, envelope_);
  EXPECT_EQ(ParseBody(stream.get(), &end, &lines), -1);
  EXPECT_EQ(lines, 15U);
  EXPECT_EQ(end, static_cast<long>(5 + body.size() + envelope_.size() + 8));
}

TEST_F(Mailbox, MayBeEmpty) {
  const Stream stream = open("");
  long end = 7;
  unsigned lines = 3;
  EXPECT_EQ(ParseBody(stream.get(), &end, &lines), -1);
  EXPECT_EQ(end, 0);
  EXPECT_EQ(lines, 3U);
}

TEST_F(Mailbox, CountsLongLinesByPieces) {
  const struct {
    std::string what;
    std::string body;
    unsigned lines;
  } rows[] = {
      {"1022 bytes and a line feed", std::string(1022, 'x') + "\n", 1},
      {"1023 bytes and a line feed", std::string(1023, 'x') + "\n", 2},
      {"3000 bytes", std::string(3000, 'x') + "\n", 3},
      {"no line feed", std::string(3000, 'F'), 3},
      {"NUL bytes", "a\0b\n\0\n\0\0c\nd\n"s, 4},
      {"a NUL at the beginning of what ends a file", "\0"s, 1},
  };
  for (const auto& row : rows) {
    const Stream stream = open(row.body);
    long end = 0;
    unsigned lines = 0;
    EXPECT_EQ(ParseBody(stream.get(), &end, &lines), -1) << row.what;
    EXPECT_EQ(lines, row.lines) << row.what;
    EXPECT_EQ(end, static_cast<long>(row.body.size())) << row.what;
  }
}

TEST_F(Mailbox, LooksAtEveryPiece) {
  const std::string pad(1023, 'x');
  const Stream stream = open(pad + envelope_ + "rest\n");
  long end = 0;
  unsigned lines = 0;
  EXPECT_EQ(ParseBody(stream.get(), &end, &lines), 1);
  EXPECT_EQ(lines, 1U);
  EXPECT_EQ(end, 1023);
}

TEST_F(Mailbox, FindsAnEnvelopeLineBehindNulBytes) {
  const std::string body = "a\0b\n\0"s;
  const Stream stream = open(body + "\n" + envelope_);
  long end = 0;
  unsigned lines = 0;
  EXPECT_EQ(ParseBody(stream.get(), &end, &lines), 1);
  EXPECT_EQ(lines, 2U);
  EXPECT_EQ(end, static_cast<long>(body.size() + 1));
}

}  // namespace
