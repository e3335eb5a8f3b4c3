#include <configapi/internals.h>
#include <configapi/rfc822.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>
#include <thread>
#include <vector>

#include "rfc822/header_fixture.h"

using namespace std::string_literals;  // NOLINT(google-build-using-namespace)

namespace {

using test::Detail;
using test::HeaderFile;
using test::HeaderOwner;
using test::parse;
using test::Parsed;
using test::tell;

struct Case {
  const char* what;
  std::string header;
  std::string record;
  unsigned lines;
  unsigned status_line = 0;
};

const Case kCases[] = {
    {"a message of a mailbox",
     "From a@b Mon Jan  1 10:00:00 1998\nTo: x@y\nSubject: hi\n\nbody\n",
     "to=x@y\nsubject=hi\nenvelope=a@b Mon Jan  1 10:00:00 1998\n", 4},
    {"no header at all", "\nSubject: body\n", "", 1},
    {"an empty file", "", "", 0},
    {"the end of the file ends a header", "Subject: hi", "subject=hi\n", 1},
    {"... also behind its line end", "Subject: hi\n", "subject=hi\n", 1},
    {"folded addresses", "To: a@b,\n\tx@y\n\n", "to=a@b | x@y\n", 3},
    {"a folded text keeps its fold", "Subject: one\n  \t two\n\n",
     "subject=one\r\n\ttwo\n", 3},
    {"a fold right behind the name", "Subject:\n hi\nTo:\n\ta@b\n\n",
     "to=a@b\nsubject=hi\n", 5},
    {"Sender is unfolded", "Sender: a\n  b\n \n c@d\n\n", "sender=a b c@d\n",
     5},
    {"Return-Receipt-To is a list", "Return-Receipt-To: a@b,\n c@d\n\n",
     "returnReceiptTo=a@b | c@d\n", 3},
    {"a line of blanks is no end", "Subject: a\n  \t\nTo: x@y\n\n",
     "to=x@y\nsubject=a\r\n\t\n", 4},
    {"form feed and vertical tab fold", "Subject: a\n\fb\n\vc\n\n",
     "subject=a\r\n\tb\r\n\tc\n", 4},
    {"a fold with nothing before it", " lost\n\tX: y\nTo: x@y\n\n", "to=x@y\n",
     4},
    {"the first text counts", "Subject: one\nsubject: two\n\n", "subject=one\n",
     3},
    {"an empty first text too", "Subject:\nSubject: two\n\n", "subject=\n", 3},
    {"recipients collect", "To: a@b\nCc: c@d\nTO: e@f\n\n",
     "to=a@b | e@f\ncc=c@d\n", 4},
    {"an empty list", "To:\n\n", "to=\n", 2},
    {"an address that is none leaves an empty list", "To: John Smith\n\n",
     "to=\n", 2},
    {"the first date counts",
     "Date: 16 Nov 98 15:48 EST\nResent-Date: 17 Nov 98 15:48 EST\n\n",
     "date=Mon, 16 Nov 1998 15:48 -0500\n", 3},
    {"of either kind", "Resent-Date: Tue,\n 17 Nov 98\nDate: 16 Nov 98\n\n",
     "date=Tue, 17 Nov 1998 00:00 +0000\n", 4},
    {"a date that is none", "Date: not a date\n\n", "date=now\n", 2},
    {"a folded date", "Date: Mon,\n\t16 Nov 1998 15:48:37\n -0500\n\n",
     "date=Mon, 16 Nov 1998 15:48:37 -0500\n", 4},
    {"Received in order", "Received: a\n b\nReceived:\nreceived: c\n\n",
     "received=a\r\n\tb\nreceived=\nreceived=c\n", 5},
    {"other names", "X-Mailer: abc\nX-MAILER:  def\n\tghi\nOther: o\n\n",
     "other=X-mailer: abc\nother=X-mailer: def\r\n\tghi\nother=Other: o\n", 5},
    {"RecvDate is one of them", "RecvDate: now\n\n", "other=Recvdate: now\n",
     2},
    {"names without letters", ": a\n::b\n4x: c\n\xE9t\xE9: d\n\n",
     "other=: a\nother=: :b\nother=4x: c\nother=\xE9t\xE9: d\n", 5},
    {"names of no length that the table knows",
     std::string(300, 'N') + ": v\n\n",
     "other=N" + std::string(299, 'n') + ": v\n", 2},
    {"neighbours of names",
     "T: a\nToo: b\nContent-Transfer-Encodinh: c\nin\rreply-to: d\n\n",
     "other=T: a\nother=Too: b\nother=Content-transfer-encodinh: c\n", 5},
    {"no header", "nonsense here\n folded\nSubject: hi\n\n", "subject=hi\n", 4},
    {"nor with a blank before the colon", "To : a@b\nCc\t: c@d\n\n", "", 3},
    {"From without colon is an envelope line", "From\ta@b\n\n",
     "envelope=a@b\n", 2},
    {"... even alone", "from\n\n", "envelope=\n", 2},
    {"a quoted From is none", ">From a@b\n\n", "", 2},
    {"eight-bit text", "Subject: \xE4\xF6\xFC \xC3\xA4\xFF\n\n",
     "subject=\xE4\xF6\xFC \xC3\xA4\xFF\n", 2},
    {"NEL and no-break space do not fold", "Subject: a\n\x85 b\n\xA0 c\n\n",
     "subject=a\n", 4},
    {"a NUL takes the rest of its line",
     "Subject: a\0b\nTo: x@y\0\n ,z@w\0,v@u\n\n"s, "to=x@y | z@w\nsubject=a\n",
     4},
    {"... and makes no end of the header of it",
     "To: a@b\n\0X: y\nCc: c@d\n\0\n ,e@f\n\n"s, "to=a@b\ncc=c@d\n", 6},
    {"the status line", "To: a@b\nStatus: RO\nX-Status: F\n\n",
     "to=a@b\nstatus=RO\nother=X-status: F\n", 4, 2},
    {"... where it begins", "To: a@b\n ,c@d\nStatus:\n RO\n\n",
     "to=a@b | c@d\nstatus=RO\n", 5, 3},
    {"... where the header is cut off", "To: a@b\nstatus: RO",
     "to=a@b\nstatus=RO\n", 2, 2},
    {"... the first one", "Status: RO\nStatus: U\n\n", "status=RO\n", 3, 1},
};

TEST(ParseHdr, ReadsHeaders) {
  for (const auto& row : kCases) {
    const Parsed parsed = parse(row.header);
    EXPECT_EQ(parsed.result, 1) << row.what;
    EXPECT_EQ(parsed.record, row.record) << row.what;
    EXPECT_EQ(parsed.lines, row.lines) << row.what;
    EXPECT_EQ(parsed.status_line, row.status_line) << row.what;
    EXPECT_EQ(parsed.log, test::LogLines()) << row.what;
  }
}

TEST(ParseHdr, TakesBothLineEnds) {
  for (const auto& row : kCases) {
    if (row.header.find('\r') == std::string::npos) {
      EXPECT_EQ(parse(test::with_crlf(row.header)), parse(row.header))
          << row.what;
    }
  }
}

TEST(ParseHdr, CutsALineAtItsLastCarriageReturn) {
  EXPECT_EQ(parse("Subject: a\rb\n\n").record, "subject=a\n");
  EXPECT_EQ(parse("Subject: a\rb\r\n\n").record, "subject=a\rb\n");
  EXPECT_EQ(parse("Subject: a\r\r\n\n").record, "subject=a\r\n");
  EXPECT_EQ(parse("Subject: a\n\rb\nTo: a@b\n\n").lines, 2U);
}

TEST(ParseHdr, StopsBehindTheEmptyLine) {
  const HeaderFile file("Subject: hi\r\n\r\nTo: body@x\n\n");
  EXPECT_EQ(file.parse().end, 15);
  EXPECT_EQ(file.parse().record, "to=body@x\n");
  EXPECT_EQ(file.parse().lines, 0U);
}

TEST(ParseHdr, AddsToARecordThatHoldsHeaders) {
  const HeaderOwner header(New822Header());
  const HeaderFile file(
      "To: a@b\nSubject: one\nReceived: 1\nX: 1\nDate: 1 Jan 1999\n\n"
      "To: c@d\nSubject: two\nReceived: 2\nX: 2\nDate: 2 Jan 1999\n"
      "X: 3\nReceived: 3\nStatus: R\nCc: e@f\n\n");
  static_cast<void>(file.parse_into(header.get()));
  const Parsed second = file.parse_into(header.get());
  EXPECT_EQ(second.record,
            "to=a@b | c@d\ncc=e@f\nsubject=one\nstatus=R\n"
            "received=1\nreceived=2\nreceived=3\n"
            "other=X: 1\nother=X: 2\nother=X: 3\n"
            "date=Fri, 1 Jan 1999 00:00 +0000\n");
  EXPECT_EQ(second.lines, 10U);
  EXPECT_EQ(second.status_line, 8U);
}

TEST(ParseHdr, DatesAnUnreadableDateNow) {
  setenv("TZ", "XST5", 1);
  const std::time_t before = std::time(nullptr);
  const HeaderOwner header(New822Header());
  ASSERT_EQ(ParseLine("Date: not a date", header.get()), 12);
  const std::time_t after = std::time(nullptr);
  const UTC_DATE& date = *header->date->utc;
  EXPECT_EQ(date.zone, -300);
  EXPECT_EQ(date.flags, DATE_ZONE | DATE_SECONDS);
  std::tm fields{};
  fields.tm_year = date.year - 1900;
  fields.tm_mon = date.month - 1;
  fields.tm_mday = date.day;
  fields.tm_hour = date.hour + 5;
  fields.tm_min = date.minute;
  fields.tm_sec = date.second;
  EXPECT_LE(before, timegm(&fields));
  EXPECT_GE(after, timegm(&fields));
  char text[64];
  UTC_DATE copy = date;
  EXPECT_EQ(UTC2rfc(&copy, text), 1);
  EXPECT_STREQ(header->date->text, text);
  unsetenv("TZ");
  tzset();
}

TEST(ParseHdr, FailsOnWhatIsNoOpenFile) {
  EXPECT_EQ(HeaderFile("").parse().result, 1);  // starts the line I/O
  test::LogCapture log;
  const HeaderOwner header(New822Header());
  for (const int handle : {-1, 9999}) {
    unsigned lines = 7;
    unsigned status_line = 7;
    EXPECT_EQ(ParseHdr(handle, header.get(), &lines, &status_line), 0);
    EXPECT_EQ(lines, 0U);
    EXPECT_EQ(status_line, 0U);
    EXPECT_EQ(log.take(), test::LogLines{"1 ParseHdr: getline failed."});
  }
  char folder[] = "/";
  const int handle = fileopen(folder, 0, 0);
  unsigned lines = 0;
  unsigned status_line = 0;
  EXPECT_EQ(ParseHdr(handle, header.get(), &lines, &status_line), 0);
  EXPECT_EQ(log.take().back(), "1 ParseHdr: getline failed.");
  fileclose(handle);
}

// Lines and headers that pass the buffers.

std::string filler(std::size_t size) {
  return std::string(size, 'x');
}

TEST(ParseHdr, KeepsLongLinesWhole) {
  for (const std::size_t size :
       {1013U, 1014U, 1015U, 1016U, 1023U, 1024U, 1025U, 2038U, 2039U, 2040U,
        4096U, 10000U, 64500U}) {
    const std::string text = filler(size);
    const std::string folded =
        "Subject: " + text + "\n " + text + "\nTo: a@b\n\n";
    const bool fits = 2 * size < 64000;
    EXPECT_EQ(parse("Subject: " + text + "\nTo: a@b\n\n").record,
              "to=a@b\nsubject=" + text + "\n");
    if (fits) {
      const Parsed parsed = parse(folded);
      EXPECT_EQ(parsed.record,
                "to=a@b\nsubject=" + text + "\r\n\t" + text + "\n");
      EXPECT_EQ(parsed.lines, 4U);
      EXPECT_EQ(parse(test::with_crlf(folded)), parsed);
    }
  }
}

// Whatever stands at a piece's edge is no line of its own.
TEST(ParseHdr, HidesNothingInALongLine) {
  for (std::size_t size = 1000; size < 1030; ++size) {
    const std::string pad = "X: " + filler(size);
    for (const std::string tail :
         {"Bcc: spy@x", " folded?", "\r", "\rTo: a@b", "a\0b"}) {
      const Parsed parsed = parse(pad + tail + "\r\nSubject: s\n\n");
      EXPECT_EQ(parsed.lines, 3U) << size << tail;
      EXPECT_EQ(parsed.record, "subject=s\nother=" + pad + tail + "\n")
          << size << tail;
    }
    // The NUL and the carriage return count for the whole line.
    const std::string nul = pad + "\0"s + filler(size) + "\nBcc: b@c\n\n";
    EXPECT_EQ(parse(nul).record, "bcc=b@c\nother=" + pad + "\n");
    const std::string bare = pad + "\r" + filler(size) + "\nBcc: b@c\n\n";
    EXPECT_EQ(parse(bare).record, "bcc=b@c\nother=" + pad + "\n");
    EXPECT_EQ(parse(pad).record, "other=" + pad + "\n");
  }
}

constexpr std::size_t kMost = 63 * 1024 - 1;  // bytes of one header

TEST(ParseHdr, CutsALineAtTheLimit) {
  const std::string name = "Subject: ";
  for (const std::size_t size :
       {kMost - 1, kMost, kMost + 1, kMost + 2, kMost + 2048, 3 * kMost}) {
    const std::string line = name + filler(size - name.size());
    const std::string kept = line.substr(name.size(), kMost - name.size());
    for (const auto* end : {"\n", "\r\n"}) {
      const Parsed parsed = parse(line + end + "To: a@b\n\n");
      EXPECT_EQ(parsed.record, "to=a@b\nsubject=" + kept + "\n") << size;
      EXPECT_EQ(parsed.lines, 3U);
      EXPECT_EQ(parsed.log, test::LogLines());
    }
    // The last carriage return ends the line, even where it is dropped.
    const std::string bare = name + "a\r" + line;
    EXPECT_EQ(
        parse(bare + "\r\nTo: a@b\n\n").record,
        "to=a@b\nsubject=" + bare.substr(0, kMost).substr(name.size()) + "\n");
  }
}

TEST(ParseHdr, StopsAtAHeaderThatIsTooLong) {
  const test::LogLines too_many{"1 ParseHdr: too many headers to parse."};
  const std::string text = filler(60000);
  // Joining takes the line whole, two bytes and the terminator.
  const std::size_t room = kMost + 1 - (9 + text.size()) - 4;
  for (const std::size_t size : {room - 1, room, room + 1, 3 * room}) {
    const bool fits = size <= room;
    const std::string rest = filler(size - 2);
    const HeaderFile file("Subject: " + text + "\n  " + rest +
                          "\nTo: a@b\n\nCc: c@d\n\n");
    const Parsed parsed = file.parse();
    EXPECT_EQ(parsed.result, 1);
    EXPECT_EQ(parsed.lines, fits ? 4U : 2U) << size;
    EXPECT_EQ(parsed.log, fits ? test::LogLines() : too_many) << size;
    EXPECT_EQ(parsed.record,
              fits ? "to=a@b\nsubject=" + text + "\r\n\t" + rest + "\n"
                   : "subject=" + text + "\n");
    // What is unread begins with a whole line.
    EXPECT_EQ(file.parse().record, fits ? "cc=c@d\n" : "to=a@b\n") << size;
  }
}

TEST(ParseHdr, CountsJoinsAgainstTheLimit) {
  std::string header = "Subject: s\n";
  while (header.size() < 3 * kMost) {
    header += " x\n";
  }
  const Parsed parsed = parse(header);
  EXPECT_EQ(parsed.log.size(), 1U);
  // "Subject: s" and four bytes a line; the last needs six.
  EXPECT_EQ(parsed.lines, 1 + (kMost + 1 - 10 - 6) / 4 + 2);
}

// ParseLine by itself.

TEST(ParseLine, FilesEveryRowOfTheTable) {
  const std::vector<std::pair<const char*, const char*>> fields = {
      {"to:", "to"},
      {"resent-to:", "resentTo"},
      {"cc:", "cc"},
      {"resent-cc:", "resentCc"},
      {"bcc:", "bcc"},
      {"resent-bcc:", "resentBcc"},
      {"from:", "from"},
      {"resent-from:", "resentFrom"},
      {"resent-date:", "date"},
      {"received:", "received"},
      {"reply-to:", "replyTo"},
      {"return-receipt-to:", "returnReceiptTo"},
      {"subject:", "subject"},
      {"date:", "date"},
      {"sender:", "sender"},
      {"message-id:", "messageId"},
      {"resent-message-id:", "resentMessageId"},
      {"in-reply-to:", "inReplyTo"},
      {"references:", "references"},
      {"return-path:", "returnPath"},
      {"from ", "envelope"},
      {"status:", "status"},
      {"recvdate:", "other"},
      {"mime-version:", "mimeVersion"},
      {"content-type:", "contentType"},
      {"content-transfer-encoding:", "contentTransferEncoding"},
      {"content-id:", "contentId"},
      {"content-description:", "contentDescription"},
      {"other:", "other"},
  };
  ASSERT_EQ(fields.size(), 29U);
  for (std::size_t i = 0; i < fields.size(); ++i) {
    const auto& [key, field] = fields[i];
    EXPECT_STREQ(_htbl[i].key, key);
    for (const bool upper : {false, true}) {
      std::string line = std::string(key) + " 1 Jan 1999";
      if (upper) {
        for (char& c : line) {
          c = static_cast<char>(std::toupper(c));
        }
        line.replace(line.find("JAN"), 3, "Jan");
      }
      const HeaderOwner header(New822Header());
      EXPECT_EQ(ParseLine(line.c_str(), header.get()), _htbl[i].code) << line;
      EXPECT_EQ(tell(*header).substr(0, std::strlen(field) + 1),
                std::string(field) + "=")
          << line;
      // Also when the record has it already.
      EXPECT_EQ(ParseLine(line.c_str(), header.get()), _htbl[i].code) << line;
    }
  }
  EXPECT_EQ(_htbl[29].key, nullptr);
  EXPECT_EQ(_htbl[29].code, 0);
}

TEST(ParseLine, TakesWhatIsNoHeaderForNone) {
  const HeaderOwner header(New822Header());
  for (const char* line : {"", " ", "To", "To a@b", "To\n: x", "\r\n\tTo: x",
                           "Fro m: a@b", " From a@b", "\tSubject: x"}) {
    EXPECT_EQ(ParseLine(line, header.get()), -1) << line;
  }
  EXPECT_EQ(tell(*header), "");
}

TEST(ParseLine, UnfoldsAnyLineBreak) {
  const HeaderOwner header(New822Header());
  const char line[] = "Sender: \n a\r\n\t b\n\nc\r\n \r\nd\r e\r\n";
  EXPECT_EQ(ParseLine(line, header.get()), 13);
  EXPECT_STREQ(header->sender, "a b c d\r e ");
}

TEST(ParseLine, LeavesItsLineAlone) {
  const std::string line = "To: \"a \\\" b\" <a@b>,\r\n\tc@d";
  const HeaderOwner header(New822Header());
  const std::string copy(line.c_str());
  EXPECT_EQ(ParseLine(copy.c_str(), header.get()), 1);
  EXPECT_EQ(copy, line);
  EXPECT_EQ(tell(*header), "to=a@b | c@d\n");
}

TEST(AddParse, MakesTheTableAndAppends) {
  RecipTable* table = nullptr;
  char first[] = "a@b, c@d";
  char second[] = "e@f";
  EXPECT_EQ(AddParse(first, &table), 2U);
  EXPECT_EQ(AddParse(second, &table), 3U);
  EXPECT_STREQ(table->last->canon, "e@f");
  Clear_RT(table);
  std::free(table);
}

// Places in the buffers.

const char kAllKinds[] =
    "From a@b Mon Jan  1 10:00:00 1998\n"
    "Received: from x by y;\n\tMon, 1 Jan 1998\n"
    "To: \"A. B\" <@r1,@r2:a@b> (note),\n Team: c@d, e@f;,\n\tg@[1.2]\n"
    "Subject: folded\n  twice\n\t\n"
    "Date: Mon, 16 Nov 1998\n 15:48:37 -0500\n"
    "nonsense here\n\xE4: \xFC\n"
    "X-Mailer: m\nStatus: RO\n\nTo: z@z\n";

TEST(ParseHdr, MindsNoBlockEdge) {
  for (const auto& message :
       {std::string(kAllKinds), test::with_crlf(kAllKinds)}) {
    const Parsed expected = parse(message, Detail::kAll);
    ASSERT_EQ(expected.lines, 16U);
    const test::ShiftedMessage shifted(message);
    for (std::size_t byte = 1; byte <= message.size(); ++byte) {
      ASSERT_EQ(shifted.parse_with_edge_at(byte), expected) << byte;
    }
  }
}

TEST(ParseHdr, MindsNoLineBufferEdge) {
  const Parsed expected = parse(kAllKinds, Detail::kAll);
  for (std::size_t blanks = 940; blanks < 1030; ++blanks) {
    const std::string wide = test::widen(kAllKinds, blanks);
    ASSERT_EQ(parse(wide, Detail::kAll), expected) << blanks;
    ASSERT_EQ(parse(test::with_crlf(wide), Detail::kAll), expected) << blanks;
  }
}

TEST(ParseHdr, RunsInManyThreads) {
  const Parsed expected = parse(kAllKinds, Detail::kAll);
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&expected] {
      const HeaderFile file(kAllKinds);
      for (int round = 0; round < 200; ++round) {
        setfpos(file.handle(), 0);
        const HeaderOwner header(New822Header());
        unsigned lines = 0;
        unsigned status_line = 0;
        ASSERT_EQ(ParseHdr(file.handle(), header.get(), &lines, &status_line),
                  1);
        ASSERT_EQ(tell(*header, Detail::kAll), expected.record);
        ASSERT_EQ(ParseLine("Resent-Date: x", header.get()), 28);
        const HeaderOwner undated(New822Header());
        ASSERT_EQ(ParseLine("Date: x", undated.get()), 12);
      }
    });
  }
  for (auto& thread : threads) {
    thread.join();
  }
}

}  // namespace
