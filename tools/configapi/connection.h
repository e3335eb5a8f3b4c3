// How to reach the directory, and the words for what goes wrong on the way:
// the same for every session of the tool.

#ifndef CONFIGAPI_TOOLS_CONNECTION_H_
#define CONFIGAPI_TOOLS_CONNECTION_H_

#include <string>

#include "failure.h"
#include "secret.h"

namespace configapi::tool {

// From options and environment.
struct Connection {
  std::string host = "localhost";  // or what else ldapClientConnect() takes
  int port = 389;
  std::string bind_dn;        // empty: no bind
  std::string password_file;  // "-" asks on the terminal
  unsigned seconds = 10;      // bound on each wait
};

// The password for the bind, empty where there is to be none. The terminal is
// asked once, however many sessions a command has. Throws a Failure: kUsage for
// a DN without a password file or the other way round, and for texts longer
// than the library takes; kFile for a password that cannot be read.
Secret bind_password(const Connection& connection);

// "directory HOST port PORT", or without the port where the host says it all.
std::string directory_name(const Connection& connection);

// directory_name() and WHAT, with kUnreachable.
Failure unreachable(const Connection& connection, const std::string& what);

// The failure of a wait that has lasted as long as it may.
Failure no_answer(const Connection& connection);

// The failure of a bind that the directory said no to.
Failure bind_refused(const Connection& connection);

// What is to be added to a refusal for a session that has not said who it is.
std::string without_bind(const Connection& connection);

}  // namespace configapi::tool

#endif  // CONFIGAPI_TOOLS_CONNECTION_H_
