// A second recipient parser, as plain as it can be: the grammar is generated
// from its productions, the lexer copies every token, lists are walked over
// and over. It says what the library's parser must make of an address.

#ifndef CONFIGAPI_TESTS_REFEREE_H_
#define CONFIGAPI_TESTS_REFEREE_H_

#include <cstddef>
#include <string>
#include <vector>

namespace referee {

struct Parts {
  std::string local, domain, phrase, spec, route_address, route, comment;
  std::string canonical, word;
  std::string lex_token, col_token;
  bool operator==(const Parts&) const = default;
};

// What parsing one address leaves.
struct Parse {
  int result = 0;
  std::size_t cursor = 0;  // from the beginning of the text
  bool dots_in_words = true;
  Parts parts;  // cut to what their buffers hold
  bool operator==(const Parse&) const = default;
};

struct Recipient {
  std::string canon, orig, phrase, comment, local, domain;
  bool operator==(const Recipient&) const = default;
};

Parse parse_address(const std::string& text, bool dots_in_words);

// Tokens to the end or to the first that cannot be read, as "264 word".
std::vector<std::string> tokens(const std::string& text);

// Parses a list; the text becomes what the parser makes of it.
std::vector<Recipient> parse_list(std::string& text);

}  // namespace referee

#endif  // CONFIGAPI_TESTS_REFEREE_H_
