// A second recipient parser, as plain as it can be: the grammar is generated
// from its productions (referee.y), the lexer copies every token, lists are
// walked over and over. It says what the library's parser must make of an
// address.

#ifndef CONFIGAPI_TESTS_REFEREE_H_
#define CONFIGAPI_TESTS_REFEREE_H_

#include <string>
#include <vector>

#define YYSTYPE const std::string*

namespace referee {

// What adrparse() leaves of an address: its result, the cursor, whether dots
// belong to words, and the parts in the order in which they stand below.
std::vector<std::string> address(const std::string& text, bool dots_in_words);

// What RecipParse() leaves of a list: the six texts of each recipient, in the
// order of the record, and the list itself.
std::vector<std::string> list(std::string text);

// The rest is for the grammar. The parts of the address that is being parsed,
// whole:
struct Parts {
  std::string canonical, phrase, comment, local, domain;
  std::string spec, route_address, route, word, lex_token, col_token;
};
extern Parts parts;

// A text that lives until the parse has ended.
const std::string* keep(const std::string& text);

// Whether all parts that must not be cut are short enough.
bool fits();

const std::string* route_address(const std::string& mailbox);
void begin_group(const std::string& phrase);
void add_to_group(const std::string& mailbox);

}  // namespace referee

int yylex();
void yyerror(const char* message);

#endif  // CONFIGAPI_TESTS_REFEREE_H_
