#include "referee.h"

#include <algorithm>
#include <deque>

#include "base/bounded.h"

extern YYSTYPE yylval;
int yyparse();

namespace referee {

Parts parts;

namespace {

constexpr std::size_t kPart = 255;
constexpr std::size_t kToken = 511;
constexpr std::string_view kBlanks = " \t\n\v\f\r";
constexpr int kLexError = -1;
constexpr int kGroup = 2;  // a result of the grammar, like 0 and 1

std::deque<std::string> kept;

struct {
  std::string text;
  std::size_t cursor = 0;
  bool dots_in_words = true;
  int tokens_read = 0;
  int last_token = 0;
} input;

// Thrown through the parser: the lexer cannot go on.
struct LexicalError {};

char at(std::size_t i) {
  return i < input.text.size() ? input.text[i] : '\0';
}

bool is_blank(char c) {
  return c != '\0' && kBlanks.find(c) != std::string::npos;
}

void skip_blanks() {
  while (is_blank(at(input.cursor))) {
    ++input.cursor;
  }
}

std::string cut(const std::string& text) {
  return std::string(configapi::utf8_prefix(text, kPart));
}

// Moves i from the inside of a string behind the quote that closes it; false,
// and behind the text, when none does.
bool skip_quoted(std::size_t& i, char close) {
  while (at(i) != '\0') {
    const char c = at(i++);
    if (c == close) {
      return true;
    }
    if (c == '\\' && at(i) != '\0') {
      ++i;
    }
  }
  return false;
}

bool skip_comment() {
  std::size_t i = input.cursor;
  for (int depth = 1; depth > 0;) {
    const char c = at(i++);
    if (c == '\0' || (c == '\\' && at(i++) == '\0') ||
        (c == '"' && !skip_quoted(i, '"'))) {
      return false;
    }
    depth += static_cast<int>(c == '(') - static_cast<int>(c == ')');
  }
  parts.comment = input.text.substr(input.cursor, i - 1 - input.cursor);
  input.cursor = i;
  return true;
}

int collect(char close, int code) {
  const std::size_t begin = input.cursor - 1;
  std::size_t end = input.cursor;
  if (!skip_quoted(end, close) && close == ']') {
    return kLexError;
  }
  const std::string token = input.text.substr(begin, end - begin);
  parts.col_token = token.substr(0, kToken);
  if (parts.col_token.back() == ' ') {
    parts.col_token.pop_back();
  }
  // The parser's view is not cut, so that what is too long is seen to be so.
  yylval = keep(token.size() > kToken ? token : parts.col_token);
  input.cursor = end;
  return code;
}

int read_word() {
  const std::string ends = input.dots_in_words ? "\",:;<>@[" : "\",:;<>@[.";
  const std::size_t end =
      std::min(input.text.find_first_of(ends + kBlanks.data(), input.cursor),
               input.text.size());
  yylval = keep(input.text.substr(input.cursor - 1, end - input.cursor + 1));
  parts.lex_token = yylval->substr(0, kToken);
  input.cursor = is_blank(at(end)) ? end + 1 : end;
  return 264;
}

int read_token() {
  skip_blanks();
  const char c = at(input.cursor);
  if (c == '\0') {
    return 0;
  }
  ++input.cursor;
  if (c == '(') {
    return skip_comment() ? read_token() : kLexError;
  }
  constexpr std::string_view marks = ":,;<>@";
  if (const auto mark = marks.find(c); mark != std::string::npos) {
    input.dots_in_words &= c != ',' && c != '>' && c != '@';
    return 257 + static_cast<int>(mark);
  }
  if (c == '.' && !input.dots_in_words) {
    return 263;
  }
  return c == '"'   ? collect('"', 265)
         : c == '[' ? collect(']', 266)
                    : read_word();
}

int parse(const std::string& text, bool dots_in_words) {
  kept.clear();
  parts = {};
  input = {text, 0, dots_in_words, 0, 0};
  try {
    return yyparse();
  } catch (const LexicalError&) {
    return 0;
  }
}

std::string trimmed(std::string text) {
  const auto is_around = [](char c) { return c == ',' || is_blank(c); };
  text.erase(text.begin(),
             std::find_if_not(text.begin(), text.end(), is_around));
  while (text.size() > 1 && is_around(text.back())) {
    text.pop_back();
  }
  return text;
}

// The comments and the separator behind a ">" or a group.
void pass_separator() {
  skip_blanks();
  while (at(input.cursor) == '(') {
    ++input.cursor;
    if (!skip_comment()) {
      --input.cursor;
      return;
    }
    skip_blanks();
  }
  if (at(input.cursor) == ',' ||
      (at(input.cursor) == ';' && input.last_token == 261)) {
    ++input.cursor;
  }
}

bool quotes_pair_up(std::string_view text) {
  bool paired = true;
  for (std::size_t i = 0; i < text.size(); ++i) {
    paired ^= text[i] == '"';
    i += text[i] == '\\' ? 1 : 0;
  }
  return paired;
}

void blank_quoted_quotes(std::string& text, std::size_t from) {
  for (auto i = text.find("\\\"", from); i != std::string::npos;
       i = text.find("\\\"", i)) {
    text.replace(i, 2, "  ");
  }
}

}  // namespace

const std::string* keep(const std::string& text) {
  return &kept.emplace_back(text);
}

bool fits() {
  return std::max({parts.local.size(), parts.domain.size(), parts.spec.size(),
                   parts.route.size(), parts.route_address.size()}) <= kPart;
}

const std::string* route_address(const std::string& mailbox) {
  parts.route_address = "<" + parts.route + ":" + mailbox + ">";
  return keep(parts.route_address);
}

void begin_group(const std::string& phrase) {
  parts.canonical =
      std::string(configapi::utf8_prefix(cut(phrase), kPart - 2)) + ":";
}

void add_to_group(const std::string& mailbox) {
  const bool first = parts.canonical.back() == ':';
  const std::string longer = parts.canonical + (first ? " " : ", ") + mailbox;
  if (longer.size() < kPart) {
    parts.canonical = longer;
  }
}

std::vector<std::string> address(const std::string& text, bool dots_in_words) {
  const int result = parse(text, dots_in_words);
  const Parts& p = parts;
  return {result == 1 ? "1" : "0",
          std::to_string(input.cursor),
          input.dots_in_words ? "1" : "0",
          cut(p.canonical),
          cut(p.phrase),
          cut(p.comment),
          cut(p.local),
          cut(p.domain),
          cut(p.spec),
          cut(p.route_address),
          cut(p.route),
          cut(p.word),
          p.lex_token,
          p.col_token};
}

std::vector<std::string> list(std::string text) {
  std::size_t cursor = std::min(text.find_first_not_of(kBlanks), text.size());
  const bool paired = quotes_pair_up(text);
  std::vector<std::string> left;
  while (paired && cursor < text.size()) {
    cursor += text[cursor] == ',' ? 1 : 0;
    blank_quoted_quotes(text, cursor);
    const int result = parse(text.substr(cursor), true);
    const bool at_comma = input.last_token == 258 && input.tokens_read > 1;
    std::size_t end = cursor + input.cursor;
    if (result == 1) {
      end = std::min(text.find(',', at_comma ? end - 1 : end), text.size());
    } else if (!parts.canonical.empty()) {
      if (input.last_token == 261 || result == kGroup) {
        pass_separator();
        end = cursor + input.cursor;
      }
      const Parts& p = parts;
      left.insert(left.end(),
                  {cut(p.canonical), trimmed(text.substr(cursor, end - cursor)),
                   cut(p.phrase), cut(p.comment), cut(p.local), cut(p.domain)});
    }
    cursor = end;
  }
  left.push_back(text);
  return left;
}

}  // namespace referee

int yylex() {
  const int code = referee::read_token();
  ++referee::input.tokens_read;
  referee::input.last_token = code;
  if (code == referee::kLexError) {
    throw referee::LexicalError{};
  }
  return code;
}

void yyerror(const char* /*message*/) {}
