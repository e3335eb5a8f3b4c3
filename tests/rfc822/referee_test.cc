// The recipient parser against a second one that is generated from the
// grammar: both must leave the same of every text.

#include "referee.h"

#include <configapi/internals.h>
#include <configapi/rfc822.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "exact_text.h"
#include "line_ends.h"

namespace {

using Texts = std::vector<std::string>;

Texts our_address(const std::string& text, bool dots_in_words) {
  const test::ExactText copy(text);
  for (char* buffer :
       {localBuf, domainBuf, phraseBuf, specBuf, routeaBuf, routeBuf,
        commentBuf, canonbuf, wordBuf, LexToken, ColToken}) {
    *buffer = '\0';
  }
  LexDotSkip = dots_in_words ? 1 : 0;
  adrLine = copy.get();
  const int result = adrparse();
  return {std::to_string(result),
          std::to_string(copy.offset_of(adrLine)),
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

bool agree(const std::string& text) {
  for (const bool dots : {true, false}) {
    EXPECT_EQ(our_address(text, dots), referee::address(text, dots))
        << testing::PrintToString(text);
  }
  EXPECT_EQ(our_list(text), referee::list(text))
      << testing::PrintToString(text);
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
  Soup soup(seed != nullptr ? static_cast<unsigned>(std::atol(seed)) : 822);
  long left = count != nullptr ? std::atol(count) : 200000;
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

TEST(Referee, EverySequenceOfTokens) {
  expect_agreement({"a", " b", "@", ".", "<", ">", ":", ",", ";", "\"q\""}, 5);
  expect_agreement({"(", ")", "\"", "\\"}, 7);
  expect_agreement({"(", ")", "[", "]", "\\", "a "}, 5);
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
