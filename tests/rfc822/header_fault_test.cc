// Memory that runs out at each allocation in turn.

#include <configapi/internals.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "rfc822/header_fixture.h"
#include "support/alloc_fault.h"

namespace {

using test::AllocFault;
using test::HeaderFile;
using test::HeaderOwner;
using test::LogLines;
using test::tell;

const std::string kMessage =
    "From a@b Mon Jan  1 10:00:00 1998\n"
    "Received: one\nReceived: two\n"
    "To: A <a@b> (note), c@d\nTo: e@f\nCc: g@h\n"
    "Date: not a date\nResent-Date: 16 Nov 1998\n"
    "X-One: 1\nX-Two: 2\nSubject: " +
    std::string(5000, 's') + "\n " + std::string(9000, 't') +
    "\nStatus: RO\n\nX-Three: 3\n\n";

// All lines of `some` are lines of `all`, but for recipients, of which some
// may be missing, and the date, which may be that of the later header.
void expect_subset(const std::string& some, const std::string& all) {
  std::size_t at = 0;
  while (at < some.size()) {
    const std::size_t end = some.find('\n', at) + 1;
    const std::string line = some.substr(at, end - at);
    if (!line.starts_with("to=") && !line.starts_with("cc=") &&
        !line.starts_with("date=")) {
      EXPECT_NE(all.find(line), std::string::npos) << line;
    }
    if (line.starts_with("date=")) {
      EXPECT_TRUE(line == "date=now\n" ||
                  line == "date=Mon, 16 Nov 1998 00:00 +0000\n")
          << line;
    }
    at = end;
  }
}

TEST(ParseHdrFaults, LoseNoMoreThanAHeader) {
  const HeaderFile file(kMessage);
  const std::string whole = file.parse().record;
  const std::string next = file.parse().record;
  const LogLines results[] = {{"1 ParseHdr: malloc failed."},
                              {"1 ParseHdr: realloc failed."},
                              {"1 ParseLine: malloc failed."},
                              {}};
  int counts[4] = {};
  for (int n = 1;; ++n) {
    setfpos(file.handle(), 0);
    const HeaderOwner header(New822Header());
    test::LogCapture log;
    unsigned lines = 0;
    unsigned status_line = 0;
    int result = -1;
    {
      const AllocFault fault(n);
      result = ParseHdr(file.handle(), header.get(), &lines, &status_line);
    }
    const LogLines logged = log.take();
    const auto kind =
        std::find(std::begin(results), std::end(results), logged) - results;
    ASSERT_LT(kind, 4) << n << logged[0];
    ++counts[kind];
    EXPECT_EQ(result, kind < 2 ? 0 : 1) << n;
    expect_subset(tell(*header), whole);
    if (!AllocFault::happened()) {
      EXPECT_EQ(tell(*header), whole);
      break;
    }
    if (result == 1) {
      // The record goes on taking headers, and the file stands where it ought.
      EXPECT_EQ(lines, 14U);
      EXPECT_EQ(file.parse().record, next);
      EXPECT_EQ(ParseLine("X-Four: 4", header.get()), 29);
      EXPECT_EQ(ParseLine("Cc: i@j", header.get()), 3);
      EXPECT_NE(tell(*header).find("i@j\n"), std::string::npos);
    }
  }
  EXPECT_EQ(counts[0], 1);
  EXPECT_GE(counts[1], 2);   // a buffer that grew twice
  EXPECT_GE(counts[2], 14);  // nodes and texts
}

TEST(ParseLineFaults, FileNothing) {
  for (const char* line :
       {"To: a@b", "Subject: s", "Received: r", "X: y", "Date: 16 Nov 1998"}) {
    for (int n = 1;; ++n) {
      const HeaderOwner header(New822Header());
      test::LogCapture log;
      int code = 0;
      {
        const AllocFault fault(n);
        code = ParseLine(line, header.get());
      }
      if (!AllocFault::happened()) {
        EXPECT_GE(n, 3) << line;
        break;
      }
      if (code == -1) {
        EXPECT_EQ(log.take(), LogLines{"1 ParseLine: malloc failed."}) << line;
        EXPECT_EQ(tell(*header), "") << line;
      } else {
        // What cannot be told from an address that is none.
        EXPECT_NE(header->to, nullptr) << line;
      }
    }
  }
}

TEST(AddParseFaults, LeaveTheSlotEmpty) {
  RecipTable* table = nullptr;
  char text[] = "a@b";
  const AllocFault fault(1);
  EXPECT_EQ(AddParse(text, &table), 0U);
  EXPECT_EQ(table, nullptr);
}

}  // namespace
