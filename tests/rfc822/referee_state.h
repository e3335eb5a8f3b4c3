// What the referee's grammar (referee.y) builds with.

#ifndef CONFIGAPI_TESTS_REFEREE_STATE_H_
#define CONFIGAPI_TESTS_REFEREE_STATE_H_

#include <string>

#include "referee.h"

#define YYSTYPE const std::string*

namespace referee {

// The parts of the address that is being parsed, whole.
extern Parts parts;

// A text that lives until the parse has ended.
const std::string* keep(const std::string& text);

// Whether all parts that must not be cut are short enough.
bool fits();

const std::string* route_address(const std::string& mailbox);
// The domain of a route is no domain of the address.
std::string take_domain();
void begin_group(const std::string& phrase);
void add_to_group(const std::string& mailbox);
void end_group();

}  // namespace referee

int yylex();
void yyerror(const char* message);

#endif  // CONFIGAPI_TESTS_REFEREE_STATE_H_
