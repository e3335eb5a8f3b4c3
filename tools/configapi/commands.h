// The commands. Each function adds one to the command line; its callback runs
// it once the whole line has been read and found right.

#ifndef CONFIGAPI_TOOLS_COMMANDS_H_
#define CONFIGAPI_TOOLS_COMMANDS_H_

#include "failure.h"
#include "output.h"
#include "session.h"

namespace CLI {
class App;
}

namespace configapi::tool {

// What all commands share.
struct Tool {
  Connection connection;
  Output output;
  ExitCode result = ExitCode::kDone;

  // Reports a failure that does not keep the command from going on with its
  // other arguments; the first one gives the exit code.
  void report(const Failure& failure);

  // The same without a word.
  void fail(ExitCode code);
};

void add_get(CLI::App* app, Tool* tool);
void add_list(CLI::App* app, Tool* tool);
void add_describe(CLI::App* app, Tool* tool);
void add_set(CLI::App* app, Tool* tool);
void add_unset(CLI::App* app, Tool* tool);
void add_check(CLI::App* app, Tool* tool);
void add_export(CLI::App* app, Tool* tool);
void add_import(CLI::App* app, Tool* tool);
void add_diff(CLI::App* app, Tool* tool);
void add_watch(CLI::App* app, Tool* tool);
void add_headers(CLI::App* app, Tool* tool);
void add_addresses(CLI::App* app, Tool* tool);
void add_date(CLI::App* app, Tool* tool);
void add_dn(CLI::App* app, Tool* tool);
void add_completion(CLI::App* app, Tool* tool);

}  // namespace configapi::tool

#endif  // CONFIGAPI_TOOLS_COMMANDS_H_
