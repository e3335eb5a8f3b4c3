// Passwords: out of a file or from the terminal, never from the command line,
// where every user of the machine could read them.

#ifndef CONFIGAPI_TOOLS_PASSWORD_H_
#define CONFIGAPI_TOOLS_PASSWORD_H_

#include <string>

#include "secret.h"

namespace configapi::tool {

// The content of the file less one line feed at its end; "-" asks on the
// terminal and does not echo. Throws a Failure (kFile) when there is nothing
// to read from, and for an empty password: with one, a bind succeeds without
// having proved anything (RFC 4513 section 5.1.2).
Secret read_password(const std::string& file);

// A setting's value that others are not to see, out of the next line of
// standard input; a terminal is asked and does not echo. Throws a Failure
// (kFile) when there is none.
std::string read_secret(const std::string& name);

}  // namespace configapi::tool

#endif  // CONFIGAPI_TOOLS_PASSWORD_H_
