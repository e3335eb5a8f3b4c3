#include "rfc822/adrlex.h"

#include <configapi/internals.h>

#include <algorithm>
#include <cstring>

#include "base/bounded.h"

extern "C" {

char* adrLine = nullptr;
char* adrlval = nullptr;
char LexToken[512];
char ColToken[512];
int LexDotSkip = 0;
char commentBuf[256];
char* commentPart = commentBuf;

}  // extern "C"

namespace configapi {
namespace {

constexpr std::size_t kTokenLimit = sizeof LexToken - 1;

// Which comments of the window stay open, one bit for each byte of the text.
// Static like the lexer's other state; in a longer list the window moves on.
constexpr std::size_t kBits = 32;
std::array<std::uint32_t, 4096> open_comments;
constexpr std::size_t kWindow = open_comments.size() * kBits;

constexpr std::uint32_t bit_of(std::size_t at) {
  return std::uint32_t{1} << (at % kBits);
}

// A scan's end: behind the close character, or at the end of the text.
struct Closing {
  const char* end;
  bool closed;
};

Closing find_close(const char* p, char close, unsigned stops) {
  for (;; ++p) {
    p = find_class(p, stops);
    if (*p == close) {
      return {p + 1, true};
    }
    if (*p == '\\') {
      ++p;
    }
    if (*p == '\0') {
      return {p, false};
    }
  }
}

Closing find_quote(const char* p) {
  return find_close(p, '"', kQuoteStop);
}

// Behind the parenthesis that closes a comment; null when none does.
const char* find_comment_end(const char* p) {
  for (std::size_t depth = 1;; ++p) {
    p = find_class(p, kCommentStop);
    switch (*p) {
      case '(':
        ++depth;
        break;
      case ')':
        if (--depth == 0) {
          return p + 1;
        }
        break;
      case '"':
        // Back onto the closing quote, or the last byte of the text.
        p = find_quote(p + 1).end - 1;
        break;
      case '\\':
        if (*++p != '\0') {
          break;
        }
        return nullptr;
      default:
        return nullptr;
    }
  }
}

// Whether the byte at p has an odd number of backslashes right before it.
bool is_escaped(const char* begin, const char* p) {
  const char* first = p;
  while (first != begin && first[-1] == '\\') {
    --first;
  }
  return (p - first) % 2 != 0;
}

void terminate(char* buffer, std::size_t length) {
  const bool blank = length > 0 && buffer[length - 1] == ' ';
  buffer[blank ? length - 1 : length] = '\0';
}

std::size_t copy_token(char* buffer, std::string_view text) {
  const std::size_t length = std::min(text.size(), kTokenLimit);
  std::memcpy(buffer, text.data(), length);
  buffer[length] = '\0';
  return length;
}

}  // namespace

bool ListMemo::is_open_comment(const char* paren) const {
  const auto at = static_cast<std::size_t>(paren - window_);
  return window_ != nullptr && paren >= window_ && at < window_size_ &&
         (open_comments[at / kBits] & bit_of(at)) != 0;
}

// One walk from the end of the list back to the parenthesis finds every open
// comment between them. A parenthesis counts for the comments from which an
// even number of double quotes leads to it, so there are two balances of
// closing parentheses, one for each side of a quote.
void ListMemo::note_open_comment(const char* paren) {
  const std::size_t rest = std::strlen(paren);
  window_ = paren;
  window_size_ = std::min(kWindow, rest);
  std::fill_n(open_comments.begin(), (window_size_ + kBits - 1) / kBits, 0);
  std::array<std::size_t, 2> closing{};
  unsigned side = 0;
  for (const char* p = paren + rest; p-- != paren;) {
    const bool special = *p == '(' || *p == ')' || *p == '"';
    if (!special || is_escaped(begin_, p)) {
      continue;
    }
    if (*p == '"') {
      side ^= 1U;
    } else if (*p == ')') {
      ++closing[side];
    } else if (closing[side] > 0) {
      --closing[side];
    } else if (const auto at = static_cast<std::size_t>(p - paren);
               at < window_size_) {
      open_comments[at / kBits] |= bit_of(at);
    }
  }
}

bool Lexer::skip_comment() {
  const char* const paren = cursor - 1;
  if (memo != nullptr && memo->is_open_comment(paren)) {
    return false;
  }
  const char* const end = find_comment_end(cursor);
  if (end == nullptr) {
    if (memo != nullptr) {
      memo->note_open_comment(paren);
    }
    return false;
  }
  comment = view(cursor, end - 1);
  cursor = end;
  return true;
}

bool Lexer::collect(char close) {
  const char* const begin = cursor;
  const bool literal = close == ']';
  if (literal && memo != nullptr && memo->is_open_literal(begin)) {
    return false;
  }
  const auto [end, closed] =
      find_close(begin + 1, close, literal ? kLiteralStop : kQuoteStop);
  if (literal && !closed) {
    if (memo != nullptr) {
      memo->note_open_literal(begin);
    }
    return false;
  }
  enclosed = text = view(begin, end);
  if (!closed && text.back() == ' ') {
    text.remove_suffix(1);
  }
  cursor = end;
  return true;
}

// The cursor is behind the word's first byte.
inline Token Lexer::read_word(bool whole_domain) {
  const char* const begin = cursor - 1;
  const char* last = begin;
  const unsigned stops =
      dots_in_words ? kWordEnd | kBlank : kWordEnd | kBlank | kDotByte;
  const char* const end =
      whole_domain ? end_of_domain(begin, last) : find_class(cursor, stops);
  text = view(begin, end);
  word = view(last, end);
  cursor = is_class(*end, kBlank) ? end + 1 : end;
  return kAtom;
}

inline Token Lexer::begin_token(bool whole_domain) {
  for (;;) {
    switch (*cursor++) {
      case '\0':
        --cursor;
        return kEnd;
      case ' ':
      case '\t':
      case '\n':
      case '\v':
      case '\f':
      case '\r':
        break;
      case '(':
        if (!skip_comment()) {
          return kLexError;
        }
        break;
      case ':':
        return kColon;
      case ';':
        return kSemicolon;
      case '<':
        return kLangle;
      case ',':
        dots_in_words = false;
        return kComma;
      case '>':
        dots_in_words = false;
        return kRangle;
      case '@':
        dots_in_words = false;
        return kAt;
      case '"':
        --cursor;
        collect('"');
        return kQuotedString;
      case '[':
        --cursor;
        if (!collect(']')) {
          ++cursor;
          return kLexError;
        }
        return kDomainLiteral;
      case '.':
        if (!dots_in_words) {
          return kDot;
        }
        [[fallthrough]];
      default:
        return read_word(whole_domain);
    }
  }
}

Token Lexer::next() {
  return begin_token(false);
}

Token Lexer::next_domain() {
  return begin_token(true);
}

Lexer Lexer::from_globals() {
  Lexer lexer;
  lexer.cursor = adrLine;
  lexer.dots_in_words = LexDotSkip != 0;
  return lexer;
}

void Lexer::publish() const {
  adrLine = const_cast<char*>(cursor);  // NOLINT(*-const-cast): the caller's
  if (!dots_in_words) {
    LexDotSkip = 0;
  }
  if (word.data() != nullptr) {
    copy_token(LexToken, word);
  }
  if (enclosed.data() != nullptr) {
    terminate(ColToken, copy_token(ColToken, enclosed));
  }
  if (text.data() != nullptr) {
    adrlval = text.data() == enclosed.data() ? ColToken : LexToken;
  }
  if (comment.data() != nullptr) {
    copy_cut({commentPart, kPartSize}, utf8_prefix(comment, kPartLimit));
  }
}

}  // namespace configapi

extern "C" {

int adrlex() {
  auto lexer = configapi::Lexer::from_globals();
  const int token = lexer.next();
  lexer.publish();
  return token;
}

// NOLINTNEXTLINE(bugprone-reserved-identifier,cert-dcl37-c): interface name
char* _CollectStr(char close) {
  auto lexer = configapi::Lexer::from_globals();
  if (!lexer.collect(close)) {
    return nullptr;
  }
  char* const before = adrlval;
  lexer.publish();
  adrlval = before;
  return ColToken;
}

// NOLINTNEXTLINE(bugprone-reserved-identifier,cert-dcl37-c): interface name
char* _SkipComment() {
  auto lexer = configapi::Lexer::from_globals();
  if (!lexer.skip_comment()) {
    return nullptr;
  }
  lexer.publish();
  return commentPart;
}

// NOLINTNEXTLINE(bugprone-reserved-identifier,cert-dcl37-c): interface name
void _clean_str(char* buf, unsigned int n) {
  configapi::terminate(buf, n);
}

}  // extern "C"
