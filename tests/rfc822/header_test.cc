#include <configapi/internals.h>
#include <configapi/rfc822.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <ctime>
#include <map>
#include <string>

#include "rfc822/header_fixture.h"
#include "rfc822/line_ends.h"

using namespace std::string_literals;

namespace {

using test::Detail;
using test::HeaderFile;
using test::HeaderOwner;
using test::parse;
using test::Parsed;
using test::tell;

std::string with_crlf(const std::string& text) {
  return test::with_line_ends(text, "\r\n");
}

const struct {
  std::string header;
  std::string record;
  unsigned lines;
  unsigned status_line = 0;
} kCases[] = {
    {"From a@b Mon Jan  1 10:00:00 1998\nTo: x@y\nSubject: hi\n\nbody\n",
     "to=x@y\nsubject=hi\nenvelope=a@b Mon Jan  1 10:00:00 1998\n", 4},
    // Where the header ends.
    {"\nSubject: body\n", "", 1},
    {"", "", 0},
    {"Subject: hi", "subject=hi\n", 1},
    {"Subject: a\n  \t\nTo: x@y\n\n", "to=x@y\nsubject=a\r\n\t\n", 4},
    // Folds: gone from addresses and Sender, kept in texts.
    {"To: a@b,\n\tx@y\n\n", "to=a@b | x@y\n", 3},
    {"Return-Receipt-To: a@b,\n c@d\n\n", "returnReceiptTo=a@b | c@d\n", 3},
    {"Sender: a\n  b\n \n c@d\n\n", "sender=a b c@d\n", 5},
    {"Subject: one\n \f\v\t two\n\n", "subject=one\r\n\ttwo\n", 3},
    {" lost\n\tX: y\nTo: x@y\n\n", "to=x@y\n", 4},
    // NEL and no-break space do not fold.
    {"Subject: \xE4\xFF\n\x85 b\n\xA0 c\n\n", "subject=\xE4\xFF\n", 4},
    // The first text counts, also an empty one; the rest collects.
    {"Subject: one\nsubject: two\n\n", "subject=one\n", 3},
    {"Subject:\nSubject: two\n\n", "subject=\n", 3},
    {"To: a@b\nCc: c@d\nTO: e@f\n\n", "to=a@b | e@f\ncc=c@d\n", 4},
    {"Received: a\n b\nReceived:\nreceived: c\n\n",
     "received=a\r\n\tb\nreceived=\nreceived=c\n", 5},
    // Lists without an address.
    {"To: John Smith\n\n", "to=\n", 2},
    // The first date counts, of either kind.
    {"Date: 16 Nov 98 15:48 EST\nResent-Date: 17 Nov 98 15:48 EST\n\n",
     "date=Mon, 16 Nov 1998 15:48 -0500\n", 3},
    {"Resent-Date: Tue,\n 17 Nov 98\nDate: 16 Nov 98\n\n",
     "date=Tue, 17 Nov 1998 00:00 +0000\n", 4},
    // Other names, of letters or not, and of any length.
    {"X-Mailer: abc\nX-MAILER:  def\n\tghi\nOther: o\nRecvDate: now\n\n",
     "other=X-mailer: abc\nother=X-mailer: def\r\n\tghi\nother=Other: o\n"
     "other=Recvdate: now\n",
     6},
    {": a\n::b\n4x: c\n\xE9t\xE9: d\n\n",
     "other=: a\nother=: :b\nother=4x: c\nother=\xE9t\xE9: d\n", 5},
    {std::string(300, 'N') + ": v\n\n",
     "other=N" + std::string(299, 'n') + ": v\n", 2},
    {"T: a\nToo: b\nContent-Transfer-Encodinh: c\nin\rreply-to: d\n\n",
     "other=T: a\nother=Too: b\nother=Content-transfer-encodinh: c\n", 5},
    // No headers.
    {"nonsense here\n folded\nSubject: hi\n\n", "subject=hi\n", 4},
    {"To : a@b\nCc\t: c@d\n>From a@b\n\n", "", 4},
    // From without a colon is an envelope line, even alone.
    {"from\n\n", "envelope=\n", 2},
    // A NUL takes the rest of its line, and makes no end of the header of it.
    {"Subject: a\0b\nTo: x@y\0\n ,z@w\0,v@u\n\n"s, "to=x@y | z@w\nsubject=a\n",
     4},
    {"To: a@b\n\0X: y\nCc: c@d\n\0\n ,e@f\n\n"s, "to=a@b\ncc=c@d\n", 6},
    // The status line is where the first status header begins.
    {"To: a@b\nStatus: RO\nX-Status: F\n\n",
     "to=a@b\nstatus=RO\nother=X-status: F\n", 4, 2},
    {"To: a@b\n ,c@d\nStatus:\n RO\n\n", "to=a@b | c@d\nstatus=RO\n", 5, 3},
    {"To: a@b\nstatus: RO", "to=a@b\nstatus=RO\n", 2, 2},
    {"Status: RO\nStatus: U\n\n", "status=RO\n", 3, 1},
    // The last carriage return ends a line.
    {"Subject: a\rb\n\n", "subject=a\n", 2},
    {"Subject: a\rb\r\n\n", "subject=a\rb\n", 2},
    {"X: a\n\rb\nTo: a@b\n\n", "other=X: a\n", 2},
};

TEST(ParseHdr, ReadsHeaders) {
  for (const auto& row : kCases) {
    const Parsed expected{1, row.lines, row.status_line, row.record, {}};
    EXPECT_EQ(parse(row.header), expected) << row.header;
    if (row.header.find('\r') == std::string::npos) {
      EXPECT_EQ(parse(with_crlf(row.header)), expected) << row.header;
    }
  }
}

TEST(ParseHdr, StopsBehindTheEmptyLine) {
  const HeaderFile file("Subject: hi\r\n\r\nTo: body@x\n\n");
  EXPECT_EQ(file.parse().record, "subject=hi\n");
  EXPECT_EQ(getfpos(file.handle()), 15);
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
  const Parsed both{1,
                    10,
                    8,
                    "to=a@b | c@d\ncc=e@f\nsubject=one\nstatus=R\n"
                    "received=1\nreceived=2\nreceived=3\n"
                    "other=X: 1\nother=X: 2\nother=X: 3\n"
                    "date=Fri, 1 Jan 1999 00:00 +0000\n",
                    {}};
  EXPECT_EQ(file.parse_into(header.get()), both);
}

// That it is the present time is seen when the record is told.
TEST(ParseHdr, DatesAnUnreadableDateInTheLocalZone) {
  setenv("TZ", "XST5", 1);
  tzset();  // the library reads the zone once
  const HeaderOwner header(New822Header());
  ASSERT_EQ(ParseLine("Date: not a date", header.get()), 12);
  EXPECT_EQ(tell(*header), "date=now\n");
  UTC_DATE date = *header->date->utc;
  EXPECT_EQ(date.zone, -300);
  EXPECT_EQ(date.flags, DATE_ZONE | DATE_SECONDS);
  char text[64];
  EXPECT_EQ(UTC2rfc(&date, text), 1);
  EXPECT_STREQ(header->date->text, text);
  unsetenv("TZ");
  tzset();
}

TEST(ParseHdr, FailsOnWhatIsNoOpenFile) {
  EXPECT_EQ(HeaderFile("").parse().result, 1);  // starts the line I/O
  char folder[] = "/";
  const int unreadable = fileopen(folder, 0, 0);
  const HeaderOwner header(New822Header());
  for (const int handle : {-1, 9999, unreadable}) {
    test::LogCapture log;
    unsigned lines = 7;
    unsigned status_line = 7;
    EXPECT_EQ(ParseHdr(handle, header.get(), &lines, &status_line), 0);
    EXPECT_EQ(lines + status_line, 0U);
    EXPECT_EQ(log.take().back(), "1 ParseHdr: getline failed.");
  }
  fileclose(unreadable);
}

// Lines and headers that pass the buffers.

std::string filler(std::size_t size) {
  return std::string(size, 'x');
}

TEST(ParseHdr, KeepsLongLinesWhole) {
  for (const int length : {1013, 1014, 1015, 1016, 1023, 1024, 1025, 2038, 2039,
                           2040, 4096, 10000, 31000}) {
    const std::string text = filler(static_cast<std::size_t>(length));
    const std::string header =
        "Subject: " + text + "\n " + text + "\nTo: a@b\n\n";
    const Parsed expected{
        1, 4, 0, "to=a@b\nsubject=" + text + "\r\n\t" + text + "\n", {}};
    EXPECT_EQ(parse(header), expected);
    EXPECT_EQ(parse(with_crlf(header)), expected);
  }
}

// Whatever stands at a piece's edge is no line of its own.
TEST(ParseHdr, HidesNothingInALongLine) {
  for (std::size_t size = 1000; size < 1030; ++size) {
    const std::string pad = "X: " + filler(size);
    const std::string other = "other=" + pad;
    for (const std::string tail :
         {"Bcc: spy@x", " folded?", "\r", "\rTo: a@b", "a\0b"}) {
      const Parsed expected{1, 3, 0, "subject=s\n" + other + tail + "\n", {}};
      EXPECT_EQ(parse(pad + tail + "\r\nSubject: s\n\n"), expected);
    }
    // The NUL and the carriage return count for the whole line.
    for (const std::string& mark : {"\0"s, "\r"s}) {
      EXPECT_EQ(parse(pad + mark + filler(size) + "\nBcc: b@c\n\n").record,
                "bcc=b@c\n" + other + "\n");
    }
    EXPECT_EQ(parse(pad).record, other + "\n");
  }
}

constexpr std::size_t kMost = 63 * 1024 - 1;  // bytes of one header

TEST(ParseHdr, CutsALineAtTheLimit) {
  const std::string name = "Subject: ";
  for (const std::size_t size :
       {kMost - 1, kMost, kMost + 1, kMost + 2, kMost + 2048, 3 * kMost}) {
    // The last carriage return ends the line, even where it is dropped.
    for (const std::string& line :
         {name + filler(size - name.size()),
          name + "a\r" + filler(size) + "\r" + filler(2048)}) {
      const std::string kept = line.substr(0, kMost).substr(name.size());
      const Parsed expected{1, 3, 0, "to=a@b\nsubject=" + kept + "\n", {}};
      for (const auto* end : {"\n", "\r\n"}) {
        EXPECT_EQ(parse(line + end + "To: a@b\n\n"), expected) << size;
      }
    }
  }
}

TEST(ParseHdr, StopsAtAHeaderThatIsTooLong) {
  const std::string text = filler(60000);
  // Joining takes the line whole, two bytes and the terminator.
  const std::size_t room = kMost + 1 - (9 + text.size()) - 4;
  for (const std::size_t size : {room - 1, room, room + 1, 3 * room}) {
    const bool fits = size <= room;
    const std::string rest = filler(size - 2);
    const HeaderFile file("Subject: " + text + "\n  " + rest +
                          "\nTo: a@b\n\nCc: c@d\n\n");
    const std::string subject = "subject=" + text;
    const Parsed whole{
        1, 4, 0, "to=a@b\n" + subject + "\r\n\t" + rest + "\n", {}};
    const Parsed stopped{
        1, 2, 0, subject + "\n", {"1 ParseHdr: too many headers to parse."}};
    EXPECT_EQ(file.parse(), fits ? whole : stopped) << size;
    // What is unread begins with a whole line.
    EXPECT_EQ(file.parse().record, fits ? "cc=c@d\n" : "to=a@b\n") << size;
  }
}

// ParseLine by itself.

// "resent-to:" goes into the field resentTo.
std::string field_of(const std::string& key) {
  const std::map<std::string, std::string> others{
      {"resent-date:", "date"}, {"from ", "envelope"}, {"recvdate:", "other"}};
  if (const auto found = others.find(key); found != others.end()) {
    return found->second;
  }
  std::string field;
  for (std::size_t i = 0; key[i] != ':'; ++i) {
    const bool joined = key[i] == '-';
    i += joined ? 1 : 0;
    field += static_cast<char>(joined ? std::toupper(key[i]) : key[i]);
  }
  return field;
}

TEST(ParseLine, FilesEveryRowOfTheTable) {
  std::map<std::string, int> fields;
  for (const HdrName* row = _htbl; row->key != nullptr; ++row) {
    const std::string key(row->key);
    std::string upper = key;
    std::ranges::transform(upper, upper.begin(), ::toupper);
    for (const std::string& name : {key, upper}) {
      const std::string line = name + " 1 Jan 1999";
      const HeaderOwner header(New822Header());
      EXPECT_EQ(ParseLine(line.c_str(), header.get()), row->code) << line;
      const std::string told = tell(*header);
      EXPECT_EQ(told.substr(0, told.find('=')), field_of(key)) << line;
      // Also when the record has it already.
      EXPECT_EQ(ParseLine(line.c_str(), header.get()), row->code) << line;
    }
    ++fields[field_of(key)];
  }
  EXPECT_EQ(fields.size(), 27U);  // two of them twice
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
  const char* const line = "Sender: \n a\r\n\t b\n\nc\r\n \r\nd\r e\r\n";
  const std::string copy = line;
  EXPECT_EQ(ParseLine(copy.c_str(), header.get()), 13);
  EXPECT_STREQ(header->sender, "a b c d\r e ");
  EXPECT_EQ(copy, line);
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

TEST(ParseHdr, MindsNoEdge) {
  const Parsed expected = parse(kAllKinds, Detail::kAll);
  ASSERT_EQ(expected.lines, 16U);
  for (const std::string& end : {"\n"s, "\r\n"s}) {
    const std::string message = test::with_line_ends(kAllKinds, end);
    const test::ShiftedMessage shifted(message);
    for (std::size_t byte = 1; byte <= message.size(); ++byte) {
      ASSERT_EQ(shifted.parse_with_edge_at(byte), expected) << byte;
    }
    for (std::size_t blanks = 940; blanks < 1030; ++blanks) {
      const std::string wide = test::widen(message, blanks);
      ASSERT_EQ(parse(wide, Detail::kAll), expected) << blanks;
    }
  }
}

}  // namespace
