// Runs the real command-line tool and collects what it says.

#ifndef CONFIGAPI_TESTS_TOOLS_RUN_TOOL_H_
#define CONFIGAPI_TESTS_TOOLS_RUN_TOOL_H_

#include <map>
#include <ostream>
#include <string>

namespace test {

struct ToolRun {
  int exit = -1;  // 128 and the signal's number when a signal ended it
  std::string out;
  std::string err;
};

// Makes a failing expectation readable.
std::ostream& operator<<(std::ostream& stream, const ToolRun& run);

// What the tool runs in.
struct Surroundings {
  std::map<std::string, std::string> names{};  // CONFIGAPI_... and the like
  bool on_terminal = false;  // it has one, and standard error is there
  std::string typed{};       // on that, once something is shown
};

// Runs `configapi LINE`, where blanks part words and '...' is one. Nothing of
// the caller's environment gets in but PATH and what sanitizers take, and no
// terminal. A tool that hangs is killed after a minute.
ToolRun run_tool(const std::string& line,
                 const Surroundings& surroundings = {});

// How many lines a text has.
long lines_in(const std::string& text);

}  // namespace test

#endif  // CONFIGAPI_TESTS_TOOLS_RUN_TOOL_H_
