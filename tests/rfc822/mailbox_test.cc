#include <configapi/rfc822.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdio>
#include <string>
#include <string_view>

#include "support/temp_folder.h"

using namespace std::string_literals;

namespace {

TEST(EnvelopeLine, IsTold) {
  const struct {
    const char* line;
    int expected;
  } rows[] = {
      {"From a@b Mon Jan  1 10:00:00 1998\r\n", 1},
      {"From a@b Mon Jan  1 10:00:00 1998", 1},
      {"From - Mon Jan  1 10:00:00 199\n", 1},
      {"From a@b Mon Jan  1 10:00:00 1998x\n", 1},  // 4 of "1998x\n"
      {"From a@b Mon Jan  1 10:00:00 199x8\n", 0},
      {"From a@b Mon Jan  1 10:00:00 1998 +0100\n", 0},
      {"From a@b Mon Jan  1 10:00:00 1998 ", 0},
      {"From a@b Mon Jan  1 10:00:00 5", 0},
      {"From : : 12", 1},
      {"From ::1998\n", 0},  // the word is "::1998"
      {"From a@b 10:00 1998\n", 0},
      {"From\ta@b Mon Jan  1 10:00:00 1998\n", 0},
      {"from a@b Mon Jan  1 10:00:00 1998\n", 0},
      {"From ", 0},
      {"From", 0},
      {"", 0},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(isNextMsgHeader(row.line), row.expected) << row.line;
  }
}

constexpr long kBegin = 5;

// "result, lines, position" of what ParseBody() finds.
std::string body(std::FILE* stream) {
  long end = 7;
  unsigned lines = 10;
  const int result = ParseBody(stream, &end, &lines);
  EXPECT_EQ(std::ftell(stream), end);
  return std::to_string(result) + ", " + std::to_string(lines - 10) + ", " +
         std::to_string(end - kBegin);
}

TEST(Mailbox, IsReadUpToTheNextEnvelopeLine) {
  const std::string envelope = "From a@b Mon Jan  1 10:00:00 1998\n";
  const struct {
    std::string text;
    const char* expected;
  } rows[] = {
      {"", "-1, 0, 0"},
      {"one\nFrom here to there\n\nF\n" + envelope + "x\n", "1, 4, 26"},
      {envelope + "To: x@y\n", "1, 0, 0"},
      // Long lines count by pieces, and each is looked at.
      {std::string(1022, 'x') + "\n", "-1, 1, 1023"},
      {std::string(1023, 'x') + "\n", "-1, 2, 1024"},
      {std::string(3000, 'x') + "\n", "-1, 3, 3001"},
      {std::string(3000, 'F'), "-1, 3, 3000"},
      {std::string(1023, 'x') + envelope + "rest\n", "1, 1, 1023"},
      {"a\0b\n\0\n\0\0c\nd\n"s, "-1, 4, 12"},
      {"\0"s, "-1, 1, 1"},
      {"a\0b\n\0\n"s + envelope, "1, 2, 6"},
  };
  const test::TempFolder folder;
  for (const auto& row : rows) {
    std::FILE* stream =
        std::fopen(folder.write("mbox", "skip\n" + row.text).c_str(), "r");
    std::fseek(stream, kBegin, SEEK_SET);
    const std::string found = body(stream);
    EXPECT_EQ(found, row.expected) << row.text;
    if (found.starts_with('1')) {
      // Nothing lies in between, as often as it is asked.
      EXPECT_EQ(body(stream), "1, 0" + found.substr(found.rfind(',')));
      char line[80] = "";
      std::fgets(line, sizeof line, stream);
      EXPECT_EQ(line, envelope);
    }
    std::fclose(stream);
  }
}

// A stream of this text, behind which reading fails.
ssize_t read_or_fail(void* rest, char* buffer, std::size_t size) {
  auto* text = static_cast<std::string_view*>(rest);
  if (text->empty()) {
    errno = EIO;
    return -1;
  }
  const std::size_t count = text->copy(buffer, size);
  text->remove_prefix(count);
  return static_cast<ssize_t>(count);
}

TEST(Mailbox, EndsWhereItCannotBeRead) {
  // The line before it leaves an envelope line in the buffer but for the F.
  std::string_view text = ">From a@b Mon Jan  1 10:00:00 1998\nF";
  std::FILE* stream =
      fopencookie(&text, "r", {read_or_fail, nullptr, nullptr, nullptr});
  long end = 0;
  unsigned lines = 0;
  EXPECT_EQ(ParseBody(stream, &end, &lines), -1);
  EXPECT_NE(std::ferror(stream), 0);
  std::fclose(stream);
}

}  // namespace
