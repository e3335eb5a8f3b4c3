// Cuts the text of an address into the tokens of the address grammar.
//
// A Lexer is the working form of the exported lexer globals. Its texts are
// views of the address; nothing is copied before publish().

#ifndef CONFIGAPI_ADRLEX_H_
#define CONFIGAPI_ADRLEX_H_

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace configapi {

// Codes as the grammar numbers its terminals.
enum Token : std::int16_t {
  kLexError = -1,  // a comment or domain literal that nothing closes
  kEnd = 0,
  kColon = 257,
  kComma = 258,
  kSemicolon = 259,
  kLangle = 260,
  kRangle = 261,
  kAt = 262,
  kDot = 263,
  kAtom = 264,
  kQuotedString = 265,
  kDomainLiteral = 266,
};

constexpr std::size_t kPartSize = 256;  // of a part buffer, NUL included
constexpr std::size_t kPartLimit = kPartSize - 1;

// What a byte is to the lexer, as bits: each state stops at its own set.
enum ByteClass : std::uint8_t {
  kWordEnd = 1,  // ends a word and stays unread
  kBlank = 2,    // ends a word and is consumed with it
  kDotByte = 4,  // either, by Lexer::dots_in_words
  kParen = 8,    // opens a comment, but not inside a word
  kQuoteStop = 16,
  kLiteralStop = 32,
  kCommentStop = 64,
};

constexpr unsigned kNoWord = kWordEnd | kBlank | kDotByte | kParen;

constexpr std::array<std::uint8_t, 256> kByteClasses = [] {
  std::array<std::uint8_t, 256> classes{};
  const auto mark = [&](std::string_view bytes, std::uint8_t bit) {
    for (const char byte : bytes) {
      classes[static_cast<unsigned char>(byte)] |= bit;
    }
  };
  mark(std::string_view("\0\",:;<>@[", 9), kWordEnd);
  mark(" \t\n\v\f\r", kBlank);
  mark(".", kDotByte);
  mark("(", kParen);
  mark(std::string_view("\0\"\\", 3), kQuoteStop);
  mark(std::string_view("\0]\\", 3), kLiteralStop);
  mark(std::string_view("\0()\"\\", 5), kCommentStop);
  return classes;
}();

constexpr bool is_class(char byte, unsigned bits) {
  return (kByteClasses[static_cast<unsigned char>(byte)] & bits) != 0;
}

// The first byte that has one of the bits. Every set that is searched for has
// the NUL in it.
inline const char* find_class(const char* p, unsigned bits) {
  for (;; p += 4) {
    if (is_class(p[0], bits)) {
      return p;
    }
    if (is_class(p[1], bits)) {
      return p + 1;
    }
    if (is_class(p[2], bits)) {
      return p + 2;
    }
    if (is_class(p[3], bits)) {
      return p + 3;
    }
  }
}

inline std::string_view view(const char* begin, const char* end) {
  return {begin, static_cast<std::size_t>(end - begin)};
}

constexpr const char* skip_blanks(const char* text) {
  while (is_class(*text, kBlank)) {
    ++text;
  }
  return text;
}

// The end of the sub-domains that begin at `p` and stand together without a
// gap; `last` becomes the last of them. REQUIRES: a word begins at `p`.
inline const char* end_of_domain(const char* p, const char*& last) {
  for (;;) {
    last = p;
    p = find_class(p + 1, kWordEnd | kBlank | kDotByte);
    if (*p != '.' || is_class(p[1], kNoWord)) {
      return p;
    }
    ++p;
  }
}

// Remembers which brackets and parentheses of a list nothing closes. Such a
// token ends an address and the next one begins right behind it, so without
// this a row of them would be followed to the end of the list again and again.
//
// The text must not change while its memo is in use. One list at a time.
class ListMemo {
 public:
  explicit ListMemo(const char* list) : begin_(list) {}

  [[nodiscard]] bool is_open_literal(const char* bracket) const {
    return open_literal_ != nullptr && bracket >= open_literal_;
  }
  void note_open_literal(const char* bracket) { open_literal_ = bracket; }

  [[nodiscard]] bool is_open_comment(const char* paren) const;
  void note_open_comment(const char* paren);

 private:
  const char* begin_;
  const char* open_literal_ = nullptr;
  const char* window_ = nullptr;  // where the known comments begin
  std::size_t window_size_ = 0;
};

struct Lexer {
  const char* cursor = nullptr;
  bool dots_in_words = true;
  ListMemo* memo = nullptr;   // none: every token is followed to its end
  std::string_view text;      // of the last word, quoted string or literal
  std::string_view word;      // of the last word
  std::string_view enclosed;  // of the last quoted string or domain literal
  std::string_view comment;   // inside of the last comment

  // The next token. Behind kLexError the cursor is just past the bracket or
  // parenthesis that stays open.
  Token next();

  // The same, except that an atom takes in the sub-domains that follow it
  // without a gap: in "host.example" there is one token, and `word` is then
  // the last sub-domain. REQUIRES: !dots_in_words.
  Token next_domain();

  // Skips a comment whose parenthesis has been read. False, and the cursor
  // stays, when nothing closes it.
  bool skip_comment();

  // Reads the quoted string or domain literal that begins at the cursor. False,
  // and the cursor stays, for a domain literal that nothing closes.
  bool collect(char close);

  // The exported globals as a lexer, and back; a text that this lexer has not
  // met stays as it is there.
  static Lexer from_globals();
  void publish() const;

 private:
  Token begin_token(bool whole_domain);
  Token read_word(bool whole_domain);
};

}  // namespace configapi

#endif  // CONFIGAPI_ADRLEX_H_
