// Memory that runs out at each allocation in turn.

#include <configapi/internals.h>
#include <gtest/gtest.h>

#include <map>
#include <sstream>
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
  std::istringstream lines(some);
  for (std::string line; std::getline(lines, line);) {
    if (line.starts_with("date=")) {
      EXPECT_TRUE(line == "date=now" ||
                  line == "date=Mon, 16 Nov 1998 00:00 +0000")
          << line;
    } else if (!line.starts_with("to=") && !line.starts_with("cc=")) {
      EXPECT_NE(all.find(line + "\n"), std::string::npos) << line;
    }
  }
}

TEST(ParseHdrFaults, LoseNoMoreThanAHeader) {
  const HeaderFile file(kMessage);
  const std::string whole = file.parse().record;
  const std::string next = file.parse().record;
  std::map<std::string, int> logged;
  bool failed = true;
  for (int n = 1; failed; ++n) {
    SCOPED_TRACE(n);
    setfpos(file.handle(), 0);
    const HeaderOwner header(New822Header());
    test::LogCapture log;
    unsigned lines = 0;
    unsigned status_line = 0;
    int result = -1;
    {
      const AllocFault fault(n);
      result = ParseHdr(file.handle(), header.get(), &lines, &status_line);
      failed = AllocFault::happened();
    }
    for (const auto& line : log.take()) {
      ++logged[line];
      EXPECT_EQ(result, line.starts_with("1 ParseHdr") ? 0 : 1) << line;
    }
    expect_subset(tell(*header), whole);
    EXPECT_TRUE(failed || tell(*header) == whole);
    if (result == 1) {
      // The record goes on taking headers, and the file stands where it ought.
      EXPECT_EQ(lines, 14U);
      EXPECT_EQ(file.parse().record, next);
      EXPECT_EQ(ParseLine("X-Four: 4", header.get()), 29);
      EXPECT_EQ(ParseLine("Cc: i@j", header.get()), 3);
      EXPECT_NE(tell(*header).find("i@j\n"), std::string::npos);
    }
  }
  EXPECT_EQ(logged.size(), 3U);
  EXPECT_EQ(logged["1 ParseHdr: malloc failed."], 1);
  EXPECT_GE(logged["1 ParseHdr: realloc failed."], 2);   // it grew twice
  EXPECT_GE(logged["1 ParseLine: malloc failed."], 14);  // nodes and texts
}

TEST(ParseLineFaults, FileNothing) {
  for (const char* line :
       {"To: a@b", "Subject: s", "Received: r", "X: y", "Date: 16 Nov 1998"}) {
    bool failed = true;
    for (int n = 1; failed; ++n) {
      const HeaderOwner header(New822Header());
      test::LogCapture log;
      int code = 0;
      {
        const AllocFault fault(n);
        code = ParseLine(line, header.get());
        failed = AllocFault::happened();
      }
      EXPECT_TRUE(failed || n >= 3) << line;
      if (code == -1) {
        EXPECT_EQ(log.take(), LogLines{"1 ParseLine: malloc failed."}) << line;
        EXPECT_EQ(tell(*header), "") << line;
      } else if (failed) {
        // What cannot be told from an address that is none.
        EXPECT_NE(header->to, nullptr) << line;
      }
    }
  }
  RecipTable* table = nullptr;
  char text[] = "a@b";
  const AllocFault fault(1);
  EXPECT_EQ(AddParse(text, &table), 0U);
  EXPECT_EQ(table, nullptr);
}

}  // namespace
