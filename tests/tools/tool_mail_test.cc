// How the tool shows and explains addresses and dates.

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "tools/run_tool.h"

namespace {

using test::check_tool;
using test::run_tool;
using test::ToolRun;

TEST(ToolAddresses, ShowsTheParts) {
  check_tool({
      {"addresses 'Joe Q. <joe@x.y> (home)'", 0,
       "joe@x.y\n"
       "  phrase   Joe Q.\n"
       "  local    joe\n"
       "  domain   x.y\n"
       "  comment  home\n"
       "  written  Joe Q. <joe@x.y> (home)\n"},
      {"addresses 'postmaster, T: a@b, c@d;'", 0,
       "postmaster\n"
       "  local    postmaster\n"
       "T: a@b, c@d;\n"
       "  phrase   T\n"
       "  local    c\n"
       "  domain   d\n"},
      {"addresses 'a b' x@y", 1, "x@y\n  local    x\n  domain   y\n",
       "configapi: no address in 'a b'\n"},
      // A word in brackets is no list of words.
      {"addresses '[a@b, c@d]' '[]' '{}'", 1, "{}\n  local    {}\n",
       "configapi: no address in '[a@b, c@d]'\n"
       "configapi: no address in '[]'\n"},
      {"--json addresses a@b,", 0,
       R"({"text":"a@b,","recipients":[{"address":"a@b","phrase":"",)"
       R"("local":"a","domain":"b","comment":"","written":"a@b"}]})"
       "\n"},
  });
}

TEST(ToolAddresses, BecomeDirectoryNames) {
  check_tool({
      {"dn joe@sub.a.b x@localhost", 0,
       "mail=joe@sub.a.b,dc=sub,dc=a,dc=b\nmail=x@localhost,dc=localhost\n"},
      {"dn --cn joe@a.b", 0, "cn=joe@a.b,dc=a,dc=b\n"},
      {"dn --suffix 'Joe <joe+x@a.b>'", 0, "dc=a,dc=b\n"},
      {"--json dn nobody j@a.b", 1,
       R"({"address":"nobody","dn":null})"
       "\n"
       R"({"address":"j@a.b","dn":"mail=j@a.b,dc=a,dc=b"})"
       "\n",
       R"({"error":"'nobody' gives no directory name","exit":1})"
       "\n"},
      {"dn joe+lists@a.b", 0, "mail=joe+lists@a.b,dc=a,dc=b\n",
       "configapi: warning: no directory finds the whole of 'joe+lists@a.b' in "
       "this name: its special characters are not escaped\n"},
      {"-q dn --cn --suffix a@b", 2},
  });
  EXPECT_EQ(run_tool("dn --suffix", {.input = "a@b.c\n\nd@e\n"}).out,
            "dc=b,dc=c\ndc=e\n");
}

TEST(ToolAddresses, ReadsLines) {
  const ToolRun run =
      run_tool("addresses --json", {.input = "a@b\r\n\n  \n\"x y\"@z, \xE9@b"});
  EXPECT_EQ(run.exit, 0) << run;
  EXPECT_EQ(test::lines_in(run.out), 2);
  EXPECT_NE(run.out.find("\"text\":\"a@b\""), std::string::npos);
  EXPECT_NE(run.out.find("\xEF\xBF\xBD@b"), std::string::npos)
      << "a byte that is no UTF-8 becomes U+FFFD";
}

// The remarks alone, without the "! " that they begin with.
std::string remarks_of(const std::string& list) {
  const ToolRun run = run_tool("-q addresses --explain '" + list + "'");
  std::string remarks;
  for (std::size_t at = 0; at < run.out.size();) {
    const std::size_t end = run.out.find('\n', at) + 1;
    if (run.out.compare(at, 2, "! ") == 0) {
      remarks += run.out.substr(at + 2, end - at - 2);
    }
    at = end;
  }
  return remarks;
}

TEST(ToolAddresses, SaysWhatWasLeftOut) {
  const std::string half(200, 'x');
  const std::vector<std::pair<std::string, std::string>> rows = {
      {"a@b, Joe <c@d>", ""},
      {"John Smith, a@b",
       "offset 10: ',' cannot stand here; 'John Smith' is left out\n"},
      {"x@y, (one) a@b@c",
       "offset 14: '@' cannot stand here; '(one) a@b@c' is left out\n"},
      {"a@b, , x@y",
       "offset 5: there is no address before this ','; 'x@y' is left out\n"},
      {"a@[1.2.3.4, x@y",
       "offset 2: nothing closes this '['; 'a@[' is left out\n"},
      {"<" + std::string(253, 'a') + ">@b c@d",
       "offset 258: 'c' cannot stand here; '@b c@d' is left out\n"},
      {"T: " + half + "@b, " + half + "@c, d@e;",
       "offset 0: 1 of the group's 3 mailboxes are left out: its form has no "
       "room for them\n"},
      {"a@b (c", "offset 4: nothing closes this '('; 'a@b (' is left out\n"},
      {R"(say "hi \" there)",
       "offset 4: nothing of the list is read: nothing closes this double "
       "quote\n"},
      {"Team:;", "offset 5: ';' cannot stand here; 'Team:;' is left out\n"},
      {"John Smith",
       "offset 10: the text ends before the address does; 'John Smith' is left "
       "out\n"},
      {half + "@" + half + ", a@b",
       "offset 401: a part of the address has over 255 bytes; '" +
           half.substr(0, 60) + "...' is left out\n"},
      {" ", "there is nothing in it\n"},
  };
  for (const auto& [list, remarks] : rows) {
    EXPECT_EQ(remarks_of(list), remarks) << list;
  }
}

// One line could be made to cost a remark, and a walk, for every byte.
TEST(ToolAddresses, ExplainsSoMuchAndNoMore) {
  for (const char* piece : {"(", "[", "x y,", ":", "\"\"", "a@b,", "g:"}) {
    std::string list;
    while (list.size() < 65536) {
      list += piece;
    }
    EXPECT_LE(test::lines_in(remarks_of(list)), 51) << piece;
  }
}

TEST(ToolDate, ReadsAndWrites) {
  check_tool(
      {
          {"date '16 Nov 98 15:48 EST' '1 Jan 2000'", 0,
           "Mon, 16 Nov 1998 15:48 -0500\nSat, 1 Jan 2000 00:00 +0000\n"},
          {"date '16 NOV 1998' '1 Jan 2000'", 1,
           "Sat, 1 Jan 2000 00:00 +0000\n",
           "configapi: '16 NOV 1998' is no date: at offset 3 a month is Jan, "
           "Feb, Mar and so on, in these letters\n"},
          // In the machine's zone.
          {"date --ctime 'Mon Nov 16 15:48:37 1998'", 0,
           "Mon, 16 Nov 1998 15:48:37 +0530\n"},
          {"date --explain 'Tue, 16 Nov 1998 15:48:37 XYZ (x)'", 0,
           "Mon, 16 Nov 1998 15:48:37 +0000\n"
           "  ! read as year 1998, month 11, day 16, time 15:48:37\n"
           "  ! it says Tue, but that day is a Mon\n"
           "  ! 'XYZ' is no known zone\n"
           "  ! '(x)' behind it is not read\n"},
          {"--json date '16 Nov 98 15:48:37 EST' x", 1,
           R"({"text":"16 Nov 98 15:48:37 EST","date":{"text":)"
           R"("Mon, 16 Nov 1998 15:48:37 -0500","year":1998,"month":11,)"
           R"("day":16,"hour":15,"minute":48,"second":37,"zone":-300,)"
           R"("zone_given":true,"seconds_given":true}})"
           "\n"
           R"({"text":"x","date":null})"
           "\n",
           R"({"error":"'x' is no date: at offset 1 the day of the month, )"
           R"(in digits, should stand here","exit":1})"
           "\n"},
      },
      {.names = {{"TZ", "IST-5:30"}}});
}

}  // namespace
