// What the referee's grammar (referee.y) builds with.

#ifndef CONFIGAPI_TESTS_REFEREE_H_
#define CONFIGAPI_TESTS_REFEREE_H_

#include <string>

#define YYSTYPE const std::string*

namespace referee {

// The parts of the address that is being parsed, whole.
struct Parts {
  std::string canonical, phrase, local, domain, spec, route_address, route;
  std::string word;
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
