// The recipient parser against a second one, as plain as it can be: its grammar
// is generated from the productions, its lexer copies every token and remembers
// nothing, lists are walked over and over. Both must leave the same of every
// text.

#include "referee.h"

#include <configapi/internals.h>
#include <configapi/rfc822.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "base/bounded.h"
#include "exact_text.h"
#include "line_ends.h"
#include "rfc822/adrlex.h"

extern YYSTYPE yylval;
int yyparse();

namespace referee {

constexpr std::size_t kPart = 255;
constexpr int kGroup = 2;  // a result of the grammar, like 0 and 1

Parts parts;
std::deque<std::string> kept;
configapi::Lexer lexer;
int tokens_read = 0;
int last_token = 0;

// Thrown through the parser: the lexer cannot go on.
struct LexicalError {};

std::string cut(const std::string& text, std::size_t size) {
  return std::string(configapi::utf8_prefix(text, size));
}

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
  parts.canonical = cut(cut(phrase, kPart), kPart - 2) + ":";
}

void add_to_group(const std::string& mailbox) {
  const bool first = parts.canonical.back() == ':';
  const std::string longer = parts.canonical + (first ? " " : ", ") + mailbox;
  if (longer.size() < kPart) {
    parts.canonical = longer;
  }
}

// Does what adrparse() does, but for the result of a group.
int parse() {
  parts = {};
  kept.clear();
  lexer = configapi::Lexer::from_globals();
  tokens_read = last_token = 0;
  int result = 0;
  try {
    result = yyparse();
  } catch (const LexicalError&) {
  }
  lexer.publish();
  const std::array<std::pair<char*, const std::string*>, 8> buffers{
      {{localBuf, &parts.local},
       {domainBuf, &parts.domain},
       {phraseBuf, &parts.phrase},
       {specBuf, &parts.spec},
       {routeaBuf, &parts.route_address},
       {routeBuf, &parts.route},
       {canonbuf, &parts.canonical},
       {wordBuf, &parts.word}}};
  for (const auto& [buffer, part] : buffers) {
    std::strcpy(buffer, cut(*part, kPart).c_str());
  }
  return result;
}

// The comments and the separator behind a ">" or a group.
void pass_separator() {
  lexer.cursor = configapi::skip_blanks(lexer.cursor);
  while (*lexer.cursor == '(') {
    ++lexer.cursor;
    if (!lexer.skip_comment()) {
      --lexer.cursor;
      break;
    }
    lexer.cursor = configapi::skip_blanks(lexer.cursor);
  }
  if (*lexer.cursor == ',' || (*lexer.cursor == ';' && last_token == 261)) {
    ++lexer.cursor;
  }
  lexer.publish();
}

}  // namespace referee

int yylex() {
  const int token = referee::lexer.next();
  ++referee::tokens_read;
  referee::last_token = token;
  if (token == configapi::kLexError) {
    throw referee::LexicalError{};
  }
  yylval = referee::keep(std::string(referee::lexer.text));
  return token;
}

void yyerror(const char* /*message*/) {}

namespace {

using Texts = std::vector<std::string>;

void begin(char* text, bool dots_in_words) {
  for (char* buffer :
       {localBuf, domainBuf, phraseBuf, specBuf, routeaBuf, routeBuf,
        commentBuf, canonbuf, wordBuf, LexToken, ColToken}) {
    *buffer = '\0';
  }
  LexDotSkip = dots_in_words ? 1 : 0;
  adrLine = text;
}

// What a parser leaves of an address.
Texts address(int (*parse)(), const std::string& text, bool dots_in_words) {
  const test::ExactText copy(text);
  begin(copy.get(), dots_in_words);
  const int result = parse();
  return {result == 1 ? "refused" : "read",
          adrLine,
          std::to_string(LexDotSkip),
          adrCanon,
          phrasePart,
          commentPart,
          localPart,
          domainPart,
          specPart,
          routeaPart,
          routePart,
          wordPart,
          LexToken,
          ColToken};
}

// What is left of a list: the six texts of each recipient, and the list.
Texts our_list(const std::string& text) {
  const test::ExactText copy(text);
  RecipTable table{};
  const unsigned int count = RecipParse(copy.get(), &table, 1);
  Texts left;
  for (const Recipient* r = table.first; r != nullptr; r = r->next) {
    left.insert(left.end(), {r->canon, r->orig, r->phrase, r->comment, r->local,
                             r->domain});
  }
  EXPECT_EQ(left.size(), std::size_t{6} * count);
  Clear_RT(&table);
  left.emplace_back(copy.get());
  return left;
}

bool quotes_pair_up(std::string_view text) {
  bool paired = true;
  for (std::size_t i = 0; i < text.size(); ++i) {
    paired ^= text[i] == '"';
    i += text[i] == '\\' ? 1 : 0;
  }
  return paired;
}

std::string trimmed(std::string_view text) {
  constexpr std::string_view kAround = " \t\n\v\f\r,";
  text.remove_prefix(std::min(text.find_first_not_of(kAround), text.size()));
  return std::string(text.substr(0, text.find_last_not_of(kAround) + 1));
}

Texts their_list(const std::string& text) {
  const test::ExactText copy(text);
  char* at = copy.get() + std::strspn(copy.get(), " \t\n\v\f\r");
  Texts left;
  while (*at != '\0' && quotes_pair_up(text)) {
    at += *at == ',' ? 1 : 0;
    for (char* pair = at; (pair = std::strstr(pair, "\\\"")) != nullptr;) {
      std::memset(pair, ' ', 2);
    }
    const char* const first = at;
    begin(at, true);
    const int result = referee::parse();
    if (result == 1) {
      const bool at_comma =
          referee::last_token == configapi::kComma && referee::tokens_read > 1;
      adrLine = strchrnul(at_comma ? adrLine - 1 : adrLine, ',');
    } else if (*canonbuf != '\0') {
      if (referee::last_token == configapi::kRangle ||
          result == referee::kGroup) {
        referee::pass_separator();
      }
      left.insert(left.end(),
                  {canonbuf, trimmed(configapi::view(first, adrLine)),
                   phraseBuf, commentBuf, localBuf, domainBuf});
    }
    at = adrLine;
  }
  left.emplace_back(copy.get());
  return left;
}

bool agree(const std::string& text) {
  for (const bool dots : {true, false}) {
    EXPECT_EQ(address(adrparse, text, dots),
              address(referee::parse, text, dots))
        << testing::PrintToString(text);
  }
  EXPECT_EQ(our_list(text), their_list(text)) << testing::PrintToString(text);
  return !testing::Test::HasFailure();
}

// Lists of tokens and half tokens, with everything that has a meaning in an
// address. Most break somewhere; all short ones come up sooner or later.
class Soup {
 public:
  explicit Soup(unsigned seed) : random_(seed) {}

  std::string list() {
    std::string text;
    for (std::size_t n = 1 + pick(12); n > 0; --n) {
      text += pick(150) == 0 ? long_piece() : piece();
    }
    return text;
  }

 private:
  std::size_t pick(std::size_t n) { return random_() % n; }

  std::string piece() {
    static constexpr std::array<std::string_view, 58> kPieces = {
        "a",         "b",       "ann",      "x.y",    ".",       "..",
        "@",         "@",       "@",        "<",      "<",       ">",
        ">",         ":",       ";",        ",",      ",",       ", ",
        " ",         " ",       "  ",       "\t",     "\r\n ",   "\v",
        "\f",        "(",       ")",        "(note)", "()",      "((n)m)",
        "(a,b)",     "(\")\")", "\"",       "\"q\"",  "\"q r\"", "\"a\\\"b\"",
        "\\",        "\\\\",    "\\\"",     "\\(",    "[",       "]",
        "[1.2]",     "[x y]",   "[\\]]",    "a@b",    "c.d@e.f", "<a@b>",
        "Joe <a@b>", "@r:",     "@r,@s:",   "@r:@s:", "G:",      "G: a@b;",
        "a@b, ",     "user(x)", "\xc3\xa9", "\xff"};
    return std::string(kPieces[pick(kPieces.size())]);
  }

  // A word, quoted string, comment, literal or name of two-byte letters.
  std::string long_piece() {
    constexpr std::array<std::size_t, 9> kSizes = {120, 240, 252, 254, 255,
                                                   256, 510, 511, 512};
    const std::size_t kind = pick(5);
    std::string text(kSizes[pick(kSizes.size())], "wqc1\xc3"[kind]);
    for (std::size_t i = 1; kind == 4 && i < text.size(); i += 2) {
      text[i] = '\xa9';
    }
    static constexpr std::array<std::string_view, 5> kEnds = {"", "\" ", "()",
                                                              "[]", ""};
    const std::string_view ends = kEnds[kind];
    return ends.empty() ? text : ends[0] + text + ends[1];
  }

  std::mt19937 random_;
};

TEST(Referee, SoupOfTokens) {
  const char* count = std::getenv("CONFIGAPI_SOUP_LISTS");
  const char* seed = std::getenv("CONFIGAPI_SOUP_SEED");
  Soup soup(seed != nullptr ? static_cast<unsigned>(std::stol(seed)) : 822);
  long left = count != nullptr ? std::stol(count) : 200000;
  while (left > 0 && agree(soup.list())) {
    --left;
  }
}

// Every sequence of up to `longest` of the pieces.
void expect_agreement(const Texts& pieces, std::size_t longest) {
  std::vector<std::size_t> picks;
  while (picks.size() <= longest) {
    std::string text;
    for (const auto pick : picks) {
      text += pieces[pick];
    }
    if (!agree(text)) {
      return;
    }
    std::size_t i = 0;
    while (i < picks.size() && ++picks[i] == pieces.size()) {
      picks[i++] = 0;
    }
    if (i == picks.size()) {
      picks.push_back(0);
    }
  }
}

// Where few lists are asked for, as under a sanitizer, all is shorter.
const std::size_t kLess =
    std::getenv("CONFIGAPI_SOUP_LISTS") != nullptr ? 1 : 0;

TEST(Referee, EverySequenceOfTokens) {
  expect_agreement({"a", " b", "@", ".", "<", ">", ":", ",", ";", "\"q\""},
                   5 - kLess);
  expect_agreement({"(", ")", "\"", "\\"}, 7 - kLess);
  expect_agreement({"(", ")", "[", "]", "\\", "a "}, 5 - kLess);
}

// The corpus writes control bytes as \\, \n, \r, \t and \xNN.
std::string unescaped(std::string_view text) {
  std::string plain;
  for (; !text.empty(); text.remove_prefix(1)) {
    if (text[0] != '\\' || text.size() == 1) {
      plain += text[0];
      continue;
    }
    text.remove_prefix(1);
    if (text[0] == 'x') {
      const std::string digits(text.substr(1, 2));
      plain += static_cast<char>(std::stoi(digits, nullptr, 16));
      text.remove_prefix(2);
    } else {
      const std::size_t code = std::string_view("nrt").find(text[0]);
      plain += code == std::string_view::npos ? text[0] : "\n\r\t"[code];
    }
  }
  return plain;
}

Texts corpus_cases() {
  Texts cases;
  const std::filesystem::path folder(CONFIGAPI_CORPUS_FOLDER "/addresses");
  if (std::filesystem::exists(folder)) {
    for (const auto& file : std::filesystem::directory_iterator(folder)) {
      std::ifstream in(file.path());
      for (std::string line; std::getline(in, line);) {
        const std::string text = unescaped(line.substr(0, line.rfind('\t')));
        cases.push_back(text.substr(0, text.find('\0')));
      }
    }
  }
  return cases;
}

// The canonical forms.
Texts addresses(const std::string& list) {
  Texts all;
  const Texts left = our_list(list);
  for (std::size_t i = 0; i + 1 < left.size(); i += 6) {
    all.push_back(test::with_line_ends(left[i], "\n"));
  }
  return all;
}

TEST(Referee, Corpus) {
  const Texts cases = corpus_cases();
  if (cases.empty()) {
    GTEST_SKIP() << "no corpus at " CONFIGAPI_CORPUS_FOLDER;
  }
  for (const auto& text : cases) {
    const std::string lf = test::with_line_ends(text, "\n");
    const std::string crlf = test::with_line_ends(text, "\r\n");
    ASSERT_TRUE(agree(text) && agree(lf) && agree(crlf));
    // Line ends between tokens change nothing.
    ASSERT_EQ(addresses(crlf), addresses(lf)) << testing::PrintToString(text);
  }
}

}  // namespace
