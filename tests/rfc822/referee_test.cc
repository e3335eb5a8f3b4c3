// The recipient parser against a second one that is generated from the
// grammar: both must leave the same of every text.

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
#include "referee.h"

namespace {

using Texts = std::vector<std::string>;

// Control bytes as \xNN, so that a failure can be read and tried again.
std::string shown(const std::string& text) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::string out;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte >= ' ' && byte < 127) {
      out += c;
    } else {
      out += {'\\', 'x', kDigits[byte / 16], kDigits[byte % 16]};
    }
  }
  return out;
}

std::string described(const referee::Parse& parse) {
  const referee::Parts& p = parse.parts;
  std::string out = "result " + std::to_string(parse.result) + " cursor " +
                    std::to_string(parse.cursor) + " dots " +
                    std::to_string(parse.dots_in_words);
  const std::array<std::pair<const char*, const std::string*>, 11> texts{{
      {"canonical", &p.canonical},
      {"local", &p.local},
      {"domain", &p.domain},
      {"phrase", &p.phrase},
      {"spec", &p.spec},
      {"route address", &p.route_address},
      {"route", &p.route},
      {"comment", &p.comment},
      {"word", &p.word},
      {"LexToken", &p.lex_token},
      {"ColToken", &p.col_token},
  }};
  for (const auto& [name, text] : texts) {
    out += std::string(" ") + name + "[" + shown(*text) + "]";
  }
  return out;
}

referee::Parse our_parse(const std::string& text, bool dots_in_words) {
  const test::ExactText copy(text);
  for (char* buffer :
       {localBuf, domainBuf, phraseBuf, specBuf, routeaBuf, routeBuf,
        commentBuf, canonbuf, wordBuf, LexToken, ColToken}) {
    *buffer = '\0';
  }
  LexDotSkip = dots_in_words ? 1 : 0;
  adrLine = copy.get();
  referee::Parse parse;
  parse.result = adrparse();
  parse.cursor = copy.offset_of(adrLine);
  parse.dots_in_words = LexDotSkip != 0;
  parse.parts = {localPart,  domainPart, phrasePart,  specPart,
                 routeaPart, routePart,  commentPart, adrCanon,
                 wordPart,   LexToken,   ColToken};
  return parse;
}

std::string described(const std::vector<referee::Recipient>& recipients,
                      const std::string& text) {
  std::string out = shown(text);
  for (const auto& r : recipients) {
    out += "\n  canon[" + shown(r.canon) + "] orig[" + shown(r.orig) +
           "] phrase[" + shown(r.phrase) + "] comment[" + shown(r.comment) +
           "] local[" + shown(r.local) + "] domain[" + shown(r.domain) + "]";
  }
  return out;
}

std::vector<referee::Recipient> our_list(std::string& text) {
  const test::ExactText copy(text);
  RecipTable table{};
  const unsigned int count = RecipParse(copy.get(), &table, 1);
  EXPECT_EQ(count, table.count);
  std::vector<referee::Recipient> recipients;
  for (const Recipient* r = table.first; r != nullptr; r = r->next) {
    recipients.push_back(
        {r->canon, r->orig, r->phrase, r->comment, r->local, r->domain});
  }
  EXPECT_EQ(recipients.size(), count);
  Clear_RT(&table);
  text = copy.get();
  return recipients;
}

bool agree_on_address(const std::string& text, bool dots_in_words) {
  const auto theirs = referee::parse_address(text, dots_in_words);
  const auto ours = our_parse(text, dots_in_words);
  if (ours != theirs) {
    ADD_FAILURE() << shown(text) << "\nours    " << described(ours)
                  << "\nreferee " << described(theirs);
  }
  return ours == theirs;
}

bool agree_on_list(const std::string& text) {
  std::string our_text = text;
  std::string their_text = text;
  const auto ours = our_list(our_text);
  const auto theirs = referee::parse_list(their_text);
  const bool same = ours == theirs && our_text == their_text;
  if (!same) {
    ADD_FAILURE() << shown(text) << "\nours    " << described(ours, our_text)
                  << "\nreferee " << described(theirs, their_text);
  }
  return same;
}

bool agree(const std::string& text) {
  return agree_on_address(text, true) && agree_on_address(text, false) &&
         agree_on_list(text);
}

// Lists of tokens and half tokens, with everything that has a meaning in an
// address. Most break somewhere; all short ones come up sooner or later.
class Soup {
 public:
  explicit Soup(unsigned seed) : random_(seed) {}

  std::string list() {
    std::string text;
    for (unsigned n = 1 + pick(12); n > 0; --n) {
      text += piece();
    }
    return text;
  }

 private:
  unsigned pick(std::size_t n) { return static_cast<unsigned>(random_() % n); }

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
    constexpr unsigned kLongOnesIn = 150;
    if (pick(kLongOnesIn) == 0) {
      return long_piece();
    }
    return std::string(kPieces[pick(kPieces.size())]);
  }

  std::string long_piece() {
    constexpr std::array<std::size_t, 9> kSizes = {120, 240, 252, 254, 255,
                                                   256, 510, 511, 512};
    const std::size_t size = kSizes[pick(kSizes.size())];
    switch (pick(5)) {
      case 0:
        return "\"" + std::string(size, 'q') + " ";
      case 1:
        return "(" + std::string(size, 'c') + ")";
      case 2: {
        std::string accents;
        while (accents.size() < size) {
          accents += "\xc3\xa9";
        }
        return accents;
      }
      case 3:
        return "[" + std::string(size, '1') + "]";
      default:
        return std::string(size, 'w');
    }
  }

  std::mt19937 random_;
};

TEST(Referee, SoupOfTokens) {
  const char* count = std::getenv("CONFIGAPI_SOUP_LISTS");
  const char* seed = std::getenv("CONFIGAPI_SOUP_SEED");
  Soup soup(seed != nullptr ? static_cast<unsigned>(std::atol(seed)) : 822);
  for (long n = count != nullptr ? std::atol(count) : 200000; n > 0; --n) {
    if (!agree(soup.list())) {
      break;
    }
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
}

TEST(Referee, EveryNestingOfOpenMarks) {
  expect_agreement({"(", ")", "\"", "\\"}, 7);
  expect_agreement({"(", ")", "[", "]", "\\", "a "}, 5);
}

// The corpus writes control bytes as \\, \n, \r, \t and \xNN.
std::string unescaped(std::string_view text) {
  std::string plain;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '\\' || i + 1 == text.size()) {
      plain += text[i];
      continue;
    }
    const char code = text[++i];
    if (code == 'x') {
      const std::string digits(text.substr(i + 1, 2));
      plain += static_cast<char>(std::stoi(digits, nullptr, 16));
      i += 2;
    } else {
      plain += code == 'n'   ? '\n'
               : code == 'r' ? '\r'
               : code == 't' ? '\t'
                             : code;
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

std::string with_line_ends(const std::string& text, std::string_view end) {
  std::string out;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '\n') {
      out += end;
    } else if (text[i] != '\r' || i + 1 == text.size() || text[i + 1] != '\n') {
      out += text[i];
    }
  }
  return out;
}

TEST(Referee, Corpus) {
  const Texts cases = corpus_cases();
  if (cases.empty()) {
    GTEST_SKIP() << "no corpus at " CONFIGAPI_CORPUS_FOLDER;
  }
  for (const auto& text : cases) {
    std::string lf = with_line_ends(text, "\n");
    std::string crlf = with_line_ends(text, "\r\n");
    if (!agree(text) || !agree(lf) || !agree(crlf)) {
      break;
    }
    // Line ends between tokens change nothing.
    const auto from_lf = our_list(lf);
    const auto from_crlf = our_list(crlf);
    ASSERT_EQ(from_lf.size(), from_crlf.size()) << shown(text);
    for (std::size_t i = 0; i < from_lf.size(); ++i) {
      EXPECT_EQ(with_line_ends(from_crlf[i].canon, "\n"),
                with_line_ends(from_lf[i].canon, "\n"))
          << shown(text);
    }
  }
}

}  // namespace
