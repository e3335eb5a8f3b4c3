#include "referee.h"

#include <algorithm>
#include <deque>

#include "base/bounded.h"
#include "referee_state.h"

extern YYSTYPE yylval;
int yyparse();

namespace referee {

Parts parts;

namespace {

constexpr std::size_t kPart = 255;
constexpr std::size_t kToken = 511;
constexpr std::string_view kBlanks = " \t\n\v\f\r";
constexpr int kLexError = -1;

std::deque<std::string> kept;
Parse state;
std::string input;
int tokens_read = 0;
int last_token = 0;
bool group_ended = false;

// Thrown through the parser: the lexer cannot go on.
struct LexicalError {};

bool is_blank(char c) {
  return c == ' ' || (c >= '\t' && c <= '\r');
}

char at(std::size_t i) {
  return i < input.size() ? input[i] : '\0';
}

std::string cut(const std::string& text) {
  return std::string(configapi::utf8_prefix(text, kPart));
}

// Behind the quote that closes the string opened before i; `closed` tells
// whether there is one.
std::size_t skip_quoted(std::size_t i, char close, bool& closed) {
  closed = false;
  while (at(i) != '\0' && !closed) {
    if (at(i) == '\\') {
      if (at(++i) == '\0') {
        break;
      }
    } else if (at(i) == close) {
      closed = true;
    }
    ++i;
  }
  return i;
}

bool skip_comment() {
  const std::size_t begin = state.cursor;
  std::size_t i = begin;
  for (int depth = 1; depth > 0; ++i) {
    bool closed = true;
    if (at(i) == '(') {
      ++depth;
    } else if (at(i) == ')') {
      --depth;
    } else if (at(i) == '"') {
      i = skip_quoted(i + 1, '"', closed) - 1;
    } else if (at(i) == '\\') {
      ++i;
    }
    if (!closed || (depth > 0 && at(i) == '\0')) {
      return false;
    }
  }
  parts.comment = input.substr(begin, i - 1 - begin);
  state.cursor = i;
  return true;
}

std::string cut_token(const std::string& text) {
  std::string token = text.substr(0, kToken);
  if (!token.empty() && token.back() == ' ') {
    token.pop_back();
  }
  return token;
}

int collect(char close, int code) {
  bool closed = false;
  const std::size_t begin = state.cursor - 1;
  const std::size_t end = skip_quoted(state.cursor, close, closed);
  if (!closed && close == ']') {
    return kLexError;
  }
  std::string token = input.substr(begin, end - begin);
  parts.col_token = cut_token(token);
  // The parser's view is not cut, so that what is too long is seen to be so.
  if (token.size() <= kToken) {
    token = parts.col_token;
  }
  yylval = keep(token);
  state.cursor = end;
  return code;
}

int read_word() {
  const std::string_view ends =
      state.dots_in_words ? "\",:;<>@[" : "\",:;<>@[.";
  const std::size_t begin = state.cursor - 1;
  std::size_t i = state.cursor;
  while (at(i) != '\0' && !is_blank(at(i)) &&
         ends.find(at(i)) == std::string::npos) {
    ++i;
  }
  const std::string word = input.substr(begin, i - begin);
  parts.lex_token = word.substr(0, kToken);
  yylval = keep(word);
  state.cursor = is_blank(at(i)) ? i + 1 : i;
  return 264;
}

int read_token() {
  for (;;) {
    while (is_blank(at(state.cursor))) {
      ++state.cursor;
    }
    const char c = at(state.cursor);
    if (c == '\0') {
      return 0;
    }
    ++state.cursor;
    if (c == '(') {
      if (!skip_comment()) {
        return kLexError;
      }
      continue;
    }
    constexpr std::string_view marks = ":,;<>@";
    if (const auto mark = marks.find(c); mark != std::string::npos) {
      if (c == ',' || c == '>' || c == '@') {
        state.dots_in_words = false;
      }
      return 257 + static_cast<int>(mark);
    }
    if (c == '.' && !state.dots_in_words) {
      return 263;
    }
    return c == '"'   ? collect('"', 265)
           : c == '[' ? collect(']', 266)
                      : read_word();
  }
}

void begin(const std::string& text, bool dots_in_words) {
  kept.clear();
  parts = {};
  state = {};
  state.dots_in_words = dots_in_words;
  input = text;
  tokens_read = 0;
  last_token = 0;
  group_ended = false;
}

void run() {
  try {
    state.result = yyparse();
  } catch (const LexicalError&) {
    state.result = 0;
  }
}

void finish() {
  state.parts = parts;
  for (auto member : {&Parts::local, &Parts::domain, &Parts::phrase,
                      &Parts::spec, &Parts::route_address, &Parts::route,
                      &Parts::comment, &Parts::canonical, &Parts::word}) {
    state.parts.*member = cut(state.parts.*member);
  }
}

bool is_around(char c) {
  return c == ',' || is_blank(c);
}

std::string trimmed(std::string text) {
  while (!text.empty() && is_around(text.front())) {
    text.erase(0, 1);
  }
  while (text.size() > 1 && is_around(text.back())) {
    text.pop_back();
  }
  return text;
}

void blank_quoted_quotes(std::string& text, std::size_t from) {
  for (auto i = text.find("\\\"", from); i != std::string::npos;
       i = text.find("\\\"", i)) {
    text.replace(i, 2, "  ");
  }
}

// The comments and the separator behind a ">" or a group.
void pass_separator() {
  for (;;) {
    while (is_blank(at(state.cursor))) {
      ++state.cursor;
    }
    if (at(state.cursor) != '(') {
      break;
    }
    ++state.cursor;
    if (!skip_comment()) {
      --state.cursor;
      return;
    }
  }
  if (at(state.cursor) == ',' ||
      (at(state.cursor) == ';' && last_token == 261)) {
    ++state.cursor;
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

std::string take_domain() {
  std::string domain;
  domain.swap(parts.domain);
  return domain;
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

void end_group() {
  parts.canonical += ";";
  group_ended = true;
}

Parse parse_address(const std::string& text, bool dots_in_words) {
  begin(text, dots_in_words);
  run();
  finish();
  return state;
}

std::vector<std::string> tokens(const std::string& text) {
  begin(text, true);
  std::vector<std::string> all;
  int code = 0;
  do {
    code = read_token();
    all.push_back(std::to_string(code));
    if (code >= 264) {
      all.back() += " " + *yylval;
    }
  } while (code > 0);
  return all;
}

std::vector<Recipient> parse_list(std::string& text) {
  std::size_t cursor = std::min(text.find_first_not_of(kBlanks), text.size());
  bool paired = true;
  for (std::size_t i = cursor; i < text.size(); ++i) {
    if (text[i] == '\\') {
      ++i;
    } else if (text[i] == '"') {
      paired = !paired;
    }
  }
  std::vector<Recipient> recipients;
  while (paired && cursor < text.size()) {
    if (text[cursor] == ',') {
      ++cursor;
    }
    blank_quoted_quotes(text, cursor);
    begin(text.substr(cursor), true);
    run();
    std::size_t end = cursor + state.cursor;
    if (state.result != 0) {
      end =
          text.find(',', last_token == 258 && tokens_read > 1 ? end - 1 : end);
      end = std::min(end, text.size());
    } else if (!parts.canonical.empty()) {
      if (last_token == 261 || group_ended) {
        pass_separator();
        end = cursor + state.cursor;
      }
      finish();
      const Parts& p = state.parts;
      recipients.push_back({p.canonical,
                            trimmed(text.substr(cursor, end - cursor)),
                            p.phrase, p.comment, p.local, p.domain});
    }
    cursor = end;
  }
  return recipients;
}

}  // namespace referee

int yylex() {
  const int code = referee::read_token();
  ++referee::tokens_read;
  referee::last_token = code;
  if (code == referee::kLexError) {
    throw referee::LexicalError{};
  }
  return code;
}

void yyerror(const char* /*message*/) {}
