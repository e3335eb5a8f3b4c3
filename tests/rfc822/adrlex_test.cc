#include <configapi/internals.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <string_view>

#include "exact_text.h"

namespace {

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
  std::string tokens(const std::string& text) {
    read_from(text);
    std::string all;
    for (;;) {
      const int code = adrlex();
      if (code <= 0) {
        return all + (code == 0 ? "end" : "error");
      }
      if (code < 264) {
        all += std::string_view(":,;<>@.")[static_cast<unsigned>(code - 257)];
      } else {
        all += std::string_view("wql")[static_cast<unsigned>(code - 264)] +
               ("(" + std::string(adrlval) + ")");
        EXPECT_EQ(adrlval, code == 264 ? LexToken : ColToken);
      }
      all += ' ';
    }
  }

  std::string rest() const { return adrLine; }

 private:
  std::unique_ptr<test::ExactText> text_;
};

TEST_F(AddressLexer, CutsTextIntoTokens) {
  const struct {
    const char* text;
    const char* tokens;
    const char* rest = "";
  } kRows[] = {
      {" \t\r\n\v\f ", "end"},
      {":;,<>@", ": ; , < > @ end"},
      {"user(x)", "w(user(x)) end"},
      {"\"a b\"<c", "q(\"a b\") < w(c) end"},
      {"\"a\\\"b\\\\\"c", "q(\"a\\\"b\\\\\") w(c) end"},
      {"a@[1.2 .3]x", "w(a) @ l([1.2 .3]) w(x) end"},
      {"a (b (c) d) e", "w(a) w(e) end"},
      {"(\")\\\"\")a", "w(a) end"},
      {"(a\\)b)c", "w(c) end"},
      {"[a\\]b]", "l([a\\]b]) end"},
      {")]\\ \x80", "w()]\\) w(\x80) end"},
      {"a.b,c.d", "w(a.b) , w(c) . w(d) end"},
      {"a.b>c.d", "w(a.b) > w(c) . w(d) end"},
      // Dots belong to words up to the first mark.
      {"a.b@c.d", "w(a.b) @ w(c) . w(d) end"},
      {".a..b. .", "w(.a..b.) w(.) end"},
      {"a.b<c.d:e.f;g.h", "w(a.b) < w(c.d) : w(e.f) ; w(g.h) end"},
      {"@..(c).a. b", "@ . . . w(a) . w(b) end"},
      // What nothing closes.
      {"\"a b ", "q(\"a b) end"},
      {"\"a b  ", "q(\"a b ) end"},
      {"\"a\\", "q(\"a\\) end"},
      {"a (x (y)", "w(a) error", "x (y)"},
      {"(a\\", "error", "a\\"},
      {"(\"a)", "error", "\"a)"},
      {"a [x\\] y", "w(a) error", "x\\] y"},
  };
  for (const auto& row : kRows) {
    EXPECT_EQ(tokens(row.text), row.tokens) << row.text;
    EXPECT_EQ(rest(), row.rest) << row.text;
  }
  EXPECT_EQ(tokens(""), "end");
  EXPECT_EQ(adrlex(), 0);
}

TEST_F(AddressLexer, CutsWhatDoesNotFit) {
  for (const std::size_t size : {510U, 511U, 512U, 2000U}) {
    const std::string text(size, 'x');
    const std::string quoted = "\"" + text.substr(2) + "\"";
    tokens(text + quoted);
    EXPECT_EQ(LexToken, text.substr(0, 511));
    EXPECT_EQ(ColToken, quoted.substr(0, 511));
  }
  // A blank at the cut is dropped.
  const std::string quoted = "\"" + std::string(509, 'x');
  tokens(quoted + " y\"");
  EXPECT_EQ(ColToken, quoted);
  const std::string comment(255, 'c');
  tokens("(one) (" + comment + "c)");
  EXPECT_EQ(commentBuf, comment);
  // Not inside a character.
  tokens("(" + comment.substr(1) + "\xc3\xa9)");
  EXPECT_EQ(commentBuf, comment.substr(1));
}

TEST_F(AddressLexer, ItsPartsWorkAlone) {
  read_from("\"a b\" c");
  EXPECT_EQ(_CollectStr('"'), ColToken);
  EXPECT_STREQ(ColToken, "\"a b\"");
  EXPECT_EQ(rest(), " c");
  read_from("[a b c");
  EXPECT_EQ(_CollectStr(']'), nullptr);
  EXPECT_EQ(rest(), "[a b c");
  read_from("a(b)) c");
  EXPECT_EQ(_SkipComment(), commentBuf);
  EXPECT_STREQ(commentBuf, "a(b)");
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
