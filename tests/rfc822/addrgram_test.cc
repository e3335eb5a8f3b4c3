#include <configapi/internals.h>
#include <gtest/gtest.h>

#include <string>

#include "exact_text.h"

namespace {

// What adrparse() leaves of a text.
struct Parsed {
  int result;
  std::string rest;  // from where it stopped
  std::string canonical;
  std::string local;
  std::string domain;
  std::string phrase;
};

void PrintTo(const Parsed& p, std::ostream* out) {
  *out << p.result << " rest[" << p.rest << "] canonical[" << p.canonical
       << "] local[" << p.local << "] domain[" << p.domain << "] phrase["
       << p.phrase << "]";
}

bool operator==(const Parsed& a, const Parsed& b) {
  return a.result == b.result && a.rest == b.rest &&
         a.canonical == b.canonical && a.local == b.local &&
         a.domain == b.domain && a.phrase == b.phrase;
}

Parsed parse(const std::string& text) {
  const test::ExactText copy(text);
  for (char* buffer : {localBuf, domainBuf, phraseBuf, specBuf, routeaBuf,
                       routeBuf, commentBuf, canonbuf, wordBuf}) {
    *buffer = '\0';
  }
  LexDotSkip = 1;
  adrLine = copy.get();
  const int result = adrparse();
  return {result, adrLine, canonbuf, localBuf, domainBuf, phraseBuf};
}

TEST(AddressGrammar, RecognisesAddresses) {
  const struct {
    std::string text;
    Parsed parsed;
  } kRows[] = {
      {"postmaster", {0, "", "postmaster", "postmaster", "", ""}},
      {"postmaster, x", {0, " x", "postmaster", "postmaster", "", ""}},
      {"\"a b\"", {0, "", "\"a b\"", "\"a b\"", "", ""}},
      {"first.last@host.example",
       {0, "", "first.last@host.example", "first.last", "host.example", ""}},
      {"a@b, x@y", {0, " x@y", "a@b", "a", "b", ""}},
      {"a@b; x@y", {0, " x@y", "a@b", "a", "b", ""}},
      {"a@b> x@y", {0, " x@y", "a@b", "a", "b", ""}},
      {"a @ b . c", {0, "", "a@b.c", "a", "b.c", ""}},
      {"a@b(c).d", {0, "", "a@b(c).d", "a", "b(c).d", ""}},
      {"a@b (c) . (d) e", {0, "", "a@b.e", "a", "b.e", ""}},
      {"a@[1.2].b", {0, "", "a@[1.2].b", "a", "[1.2].b", ""}},
      {"\"a b\"@c", {0, "", "\"a b\"@c", "\"a b\"", "c", ""}},
      {"John Smith <js@h.example> (x)",
       {0, " (x)", "js@h.example", "js", "h.example", "John Smith"}},
      {"John\r\n\t\"Q.\"  Smith<js@h>",
       {0, "", "js@h", "js", "h", "John \"Q.\" Smith"}},
      {"<u>", {0, "", "u", "u", "", ""}},
      {"<u.v>", {0, "", "u.v", "u.v", "", ""}},
      {"<@r1,@r2:u@h>", {0, "", "<@r1,@r2:u@h>", "u", "h", ""}},
      {"<@r1:@r2.s:u@h>", {0, "", "<@r1:@r2.s:u@h>", "u", "h", ""}},
      {"Joe <@r:u>", {0, "", "<@r:u>", "u", "", "Joe"}},
      {"@r1:u@h", {0, "", "<@r1:u@h>", "u", "h", ""}},
      {"Joe Q @r1:u@h, x", {0, " x", "<@r1:u@h>", "u", "h", "Joe Q"}},
  };
  for (const auto& row : kRows) {
    EXPECT_EQ(parse(row.text), row.parsed) << row.text;
  }
}

TEST(AddressGrammar, RecognisesGroups) {
  const struct {
    std::string text;
    Parsed parsed;
  } kRows[] = {
      {"Team: a@b, x@y; z", {0, " z", "Team: a@b, x@y;", "x", "y", "Team"}},
      {"Team: Ann <a@b>, x@y;", {0, "", "Team: a@b, x@y;", "x", "y", "Ann"}},
      {"A b:a@b;", {0, "", "A b: a@b;", "a", "b", "A b"}},
      {"T: a@b, c;", {0, "", "T: a@b, c;", "c", "b", "T"}},
      {"T: a@b, <@r:u>;", {0, "", "T: a@b, <@r:u>;", "u", "", "T"}},
      {"T: c.d@e, f.g.@e;", {0, "", "T: c.d@e, f.g.@e;", "f.g.", "e", "T"}},
      // What is certain when the lexer fails.
      {"T: a@b, (x", {0, "x", "T: a@b", "a", "b", "T"}},
      {"T: <a@b> (x", {0, "x", "T: a@b", "a", "b", "T"}},
      {"T: a@b (x", {0, "x", "", "a", "b", "T"}},
  };
  for (const auto& row : kRows) {
    EXPECT_EQ(parse(row.text), row.parsed) << row.text;
  }
}

TEST(AddressGrammar, RefusesTheRest) {
  const struct {
    std::string text;
    std::string rest;
  } kRows[] = {
      {"", ""},
      {" , a@b", " a@b"},
      {"John Smith", ""},
      {"John Smith, a", " a"},
      {"a@b c@d", "@d"},
      {"a@b@c", "c"},
      {"a@", ""},
      {"@b", ""},
      {"a@.b", "b"},
      {"a@b.", ""},
      {"a@b..c", "c"},
      {"a@\"b\"", ""},
      {"a;", ""},
      {"a>", ""},
      {"<>", ""},
      {"<a@b", ""},
      {"<a@b,", ""},
      {"<@r>", ""},
      {"<@r:>", ""},
      {"<a b@c>", "@c>"},
      {"Team:;", ""},
      {"Team: a@b", ""},
      {"Team: a@b,;", ""},
      {"Team: a@b>;", ";"},
      {"A: B: c@d;", " c@d;"},
      {"[x]", ""},
      {"a[x]", ""},
      {"a@b:", ""},
  };
  for (const auto& row : kRows) {
    const Parsed parsed = parse(row.text);
    EXPECT_EQ(parsed.result, 1) << row.text;
    EXPECT_EQ(parsed.rest, row.rest) << row.text;
  }
}

TEST(AddressGrammar, EndsWhereTheLexerFails) {
  for (const char* text : {"(a@b", "a@[x", "a@b (unclosed", "a (b@c", "<@r (x",
                           "A B (x", "a@b . (c"}) {
    const Parsed parsed = parse(text);
    EXPECT_EQ(parsed.result, 0) << text;
    EXPECT_EQ(parsed.canonical, "") << text;
  }
}

// No cut may turn one address into another.
TEST(AddressGrammar, RefusesPartsThatDoNotFit) {
  const auto x = [](std::size_t n) { return std::string(n, 'x'); };
  const struct {
    std::string text;
    std::size_t canonical;  // 0: refused
  } kRows[] = {
      {x(255), 255},
      {x(256), 0},
      {x(511), 0},
      {x(5000), 0},
      {"\"" + x(253) + "\"", 255},
      {"\"" + x(254) + "\"", 0},
      {"\"" + x(600) + "\"", 0},
      {"<" + x(255) + ">", 255},
      {"<" + x(256) + ">", 0},
      {x(127) + "@" + x(127), 255},
      {x(127) + "@" + x(128), 0},
      {"a@" + x(253), 255},
      {"a@" + x(254), 0},
      {"a@[" + x(600) + "]", 0},
      {"a@" + x(126) + " . " + x(126), 255},
      {"a@" + x(126) + " . " + x(127), 0},
      {"<@" + x(248) + ":u@h>", 255},
      {"<@" + x(249) + ":u@h>", 0},
      {"<@" + x(254) + ":u@h>", 0},
      {"<@" + x(255) + ":u@h>", 0},
      {"<@r,@" + x(260) + ",@s:u@h>", 0},
      {"T: a@" + x(254) + ";", 0},
      {"T: @" + x(300) + ":u;", 0},
  };
  for (const auto& row : kRows) {
    const Parsed parsed = parse(row.text);
    EXPECT_EQ(parsed.result, row.canonical == 0 ? 1 : 0) << row.text;
    EXPECT_EQ(parsed.canonical.size(), row.canonical) << row.text;
  }
}

TEST(AddressGrammar, CutsPhrasesBetweenCharacters) {
  const std::string word(100, 'x');
  const std::string name = word + " " + word + " ";
  EXPECT_EQ(parse(name + word + " <a@b>").phrase, name + word.substr(0, 53));
  EXPECT_EQ(parse(std::string(254, 'x') + "\xc3\xa9 <a@b>").phrase,
            std::string(254, 'x'));
  EXPECT_EQ(parse(std::string(253, 'x') + "\t\xc3\xa9 <a@b>").phrase,
            std::string(253, 'x') + " ");
}

TEST(AddressGrammar, KeepsTheMailboxesOfAGroupThatFit) {
  const std::string wide = "w@" + std::string(118, 'w');
  EXPECT_EQ(parse("T: " + wide + ", " + wide + ", y@y, z@z;").canonical,
            "T: " + wide + ", " + wide + ", y@y;");
  EXPECT_EQ(parse("T: " + wide + ", " + wide + "w, long@y.z, z@z;").canonical,
            "T: " + wide + ", " + wide + "w, z@z;");
  EXPECT_EQ(parse("Team: a@" + std::string(250, 'a') + ", x@y;").canonical,
            "Team: x@y;");
  const std::string name(300, 'n');
  EXPECT_EQ(parse(name + ": a@b;").canonical, name.substr(0, 253) + ":;");
}

TEST(AddressGrammar, LeavesEveryPart) {
  parse("\"J. S.\" (one) <@r.s,@t:u@h.i> (two)");
  EXPECT_STREQ(routeBuf, "@r.s,@t");
  EXPECT_STREQ(routeaBuf, "<@r.s,@t:u@h.i>");
  EXPECT_STREQ(specBuf, "u@h.i");
  EXPECT_STREQ(commentBuf, "one");
  EXPECT_STREQ(wordBuf, "u");
  EXPECT_STREQ(LexToken, "i");
  EXPECT_STREQ(ColToken, "\"J. S.\"");
  EXPECT_EQ(LexDotSkip, 0);
  EXPECT_EQ(adrlval, LexToken);
}

}  // namespace
