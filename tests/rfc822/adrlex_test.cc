#include <configapi/internals.h>
#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "exact_text.h"

namespace {

using Tokens = std::vector<std::string>;

class AddressLexer : public testing::Test {
 protected:
  void read_from(const std::string& text) {
    text_ = std::make_unique<test::ExactText>(text);
    adrLine = text_->get();
    LexDotSkip = 1;
    LexToken[0] = ColToken[0] = '\0';
    commentPart = commentBuf;
    commentBuf[0] = '\0';
  }

  // All tokens up to the end or an error, as their mark or their text.
  Tokens tokens(const std::string& text) {
    read_from(text);
    Tokens all;
    for (;;) {
      const int code = adrlex();
      constexpr std::string_view kMarks = ":,;<>@.";
      if (code <= 0) {
        all.emplace_back(code == 0 ? "end" : "error");
        return all;
      }
      if (code < 264) {
        all.emplace_back(1, kMarks[static_cast<std::size_t>(code) - 257]);
      } else {
        constexpr std::string_view kKinds = "wql";
        all.push_back(
            std::string(1, kKinds[static_cast<std::size_t>(code) - 264]) + "(" +
            adrlval + ")");
        EXPECT_EQ(adrlval, code == 264 ? LexToken : ColToken);
      }
    }
  }

  std::string rest() const { return adrLine; }
  std::size_t cursor() const { return text_->offset_of(adrLine); }

 private:
  std::unique_ptr<test::ExactText> text_;
};

TEST_F(AddressLexer, CutsTextIntoTokens) {
  const struct {
    std::string text;
    Tokens tokens;
  } kRows[] = {
      {"", {"end"}},
      {" \t\r\n\v\f ", {"end"}},
      {":;,<>@", {":", ";", ",", "<", ">", "@", "end"}},
      {"a\tb", {"w(a)", "w(b)", "end"}},
      {"user(x)", {"w(user(x))", "end"}},
      {")]\\ \x80", {"w()]\\)", "w(\x80)", "end"}},
      {"caf\xc3\xa9@b", {"w(caf\xc3\xa9)", "@", "w(b)", "end"}},
      {"\"a b\"<c", {"q(\"a b\")", "<", "w(c)", "end"}},
      {"\"a\\\"b\\\\\"c", {"q(\"a\\\"b\\\\\")", "w(c)", "end"}},
      {"a\"b\"c", {"w(a)", "q(\"b\")", "w(c)", "end"}},
      {"\"\"", {"q(\"\")", "end"}},
      {"a@[1.2 .3]x", {"w(a)", "@", "l([1.2 .3])", "w(x)", "end"}},
      {"[a\\]b]", {"l([a\\]b])", "end"}},
      {"a (b (c) d) e", {"w(a)", "w(e)", "end"}},
      {"(\")\\\"\")a", {"w(a)", "end"}},
      {"(a\\)b)c", {"w(c)", "end"}},
      // What nothing closes.
      {"\"a b ", {"q(\"a b)", "end"}},
      {"\"a b  ", {"q(\"a b )", "end"}},
      {"\"a\\", {"q(\"a\\)", "end"}},
      {"\"", {"q(\")", "end"}},
      {"(a", {"error"}},
      {"((a)", {"error"}},
      {"(\"a)", {"error"}},
      {"(a\\", {"error"}},
      {"(a)\\", {"w(\\)", "end"}},
      {"[a\\]", {"error"}},
  };
  for (const auto& row : kRows) {
    EXPECT_EQ(tokens(row.text), row.tokens) << row.text;
  }
}

TEST_F(AddressLexer, TakesDotsIntoWordsUpToTheFirstMark) {
  const struct {
    std::string text;
    Tokens tokens;
  } kRows[] = {
      {"a.b@c.d", {"w(a.b)", "@", "w(c)", ".", "w(d)", "end"}},
      {".a..b.", {"w(.a..b.)", "end"}},
      {". a", {"w(.)", "w(a)", "end"}},
      {"a.b,c.d", {"w(a.b)", ",", "w(c)", ".", "w(d)", "end"}},
      {"a.b>c.d", {"w(a.b)", ">", "w(c)", ".", "w(d)", "end"}},
      {"a.b<c.d:e.f;g.h",
       {"w(a.b)", "<", "w(c.d)", ":", "w(e.f)", ";", "w(g.h)", "end"}},
      {"@..(c).a. b", {"@", ".", ".", ".", "w(a)", ".", "w(b)", "end"}},
  };
  for (const auto& row : kRows) {
    EXPECT_EQ(tokens(row.text), row.tokens) << row.text;
  }
}

TEST_F(AddressLexer, StaysAtTheEnd) {
  read_from("a");
  adrlex();
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(adrlex(), 0);
    EXPECT_EQ(cursor(), 1U);
  }
}

TEST_F(AddressLexer, GoesOnBehindWhatNothingCloses) {
  EXPECT_EQ(tokens("a [x y"), (Tokens{"w(a)", "error"}));
  EXPECT_EQ(rest(), "x y");
  EXPECT_EQ(tokens("a (x (y)"), (Tokens{"w(a)", "error"}));
  EXPECT_EQ(rest(), "x (y)");
}

TEST_F(AddressLexer, KeepsTheLastComment) {
  const std::string accents(200, '\xc3');
  const struct {
    std::string text;
    std::string comment;
  } kRows[] = {
      {"a (first (nested) note) @host", "first (nested) note"},
      {"(one) a (two)", "two"},
      {"(one) () a", ""},
      {"(\\)) a", "\\)"},
      {"(one) (two", "one"},
      {"(" + std::string(255, 'c') + ")", std::string(255, 'c')},
      {"(" + std::string(300, 'c') + ")", std::string(255, 'c')},
      // Cut in front of the character that does not fit.
      {"(" + std::string(254, 'c') + "\xc3\xa9)", std::string(254, 'c')},
  };
  for (const auto& row : kRows) {
    tokens(row.text);
    EXPECT_EQ(commentBuf, row.comment) << row.text;
  }
}

TEST_F(AddressLexer, CutsTokens) {
  for (const std::size_t size : {510U, 511U, 512U, 2000U}) {
    const std::string kept(std::min<std::size_t>(size, 511), 'x');
    tokens(std::string(size, 'x'));
    EXPECT_EQ(LexToken, kept);
    tokens("[" + std::string(size - 2, 'x') + "]");
    EXPECT_EQ(std::string_view(ColToken).size(), kept.size());
    EXPECT_EQ(ColToken[kept.size() - 1], size > 511 ? 'x' : ']');
  }
  // A blank at the cut is dropped.
  tokens("\"" + std::string(509, 'x') + " y\"");
  EXPECT_EQ(ColToken, "\"" + std::string(509, 'x'));
}

TEST_F(AddressLexer, ItsPartsWorkAlone) {
  read_from("\"a b\" c");
  EXPECT_EQ(_CollectStr('"'), ColToken);
  EXPECT_STREQ(ColToken, "\"a b\"");
  EXPECT_EQ(rest(), " c");
  read_from("[a b c");
  EXPECT_EQ(_CollectStr(']'), nullptr);
  EXPECT_EQ(cursor(), 0U);
  read_from("a(b)) c");
  EXPECT_EQ(_SkipComment(), commentBuf);
  EXPECT_STREQ(commentBuf, "a(b)");
  EXPECT_EQ(rest(), " c");
  EXPECT_EQ(_SkipComment(), nullptr);
  EXPECT_EQ(rest(), " c");

  char buffer[] = "ab xxx";
  _clean_str(buffer, 4);
  EXPECT_STREQ(buffer, "ab x");
  _clean_str(buffer, 3);
  EXPECT_STREQ(buffer, "ab");
  _clean_str(buffer, 0);
  EXPECT_STREQ(buffer, "");
}

}  // namespace
