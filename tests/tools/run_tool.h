// Runs the real command-line tool and collects what it says.

#ifndef CONFIGAPI_TESTS_TOOLS_RUN_TOOL_H_
#define CONFIGAPI_TESTS_TOOLS_RUN_TOOL_H_

#include <map>
#include <ostream>
#include <string>
#include <vector>

namespace test {

struct ToolRun {
  int exit = -1;  // 128 and the signal's number when a signal ended it
  std::string out;
  std::string err;
};

// Makes a failing expectation readable.
std::ostream& operator<<(std::ostream& stream, const ToolRun& run);

using Words = std::vector<std::string>;

// What the tool runs in.
struct Surroundings {
  std::string input{};                         // standard input, a pipe
  std::map<std::string, std::string> names{};  // CONFIGAPI_... and the like
  std::string out_file{};                      // instead of a pipe: "/dev/full"
  std::string in_file{};                       // instead of a pipe
  long in_offset = 0;                          // where that file stands
  unsigned data_mib = 0;     // limit on its memory, 0 for none
  bool on_terminal = false;  // it has one, and standard error is there
  std::string typed{};       // on that, once something is shown
};

// Runs `configapi WORDS...`. Nothing of the caller's environment gets in but
// PATH and what sanitizers take, and no terminal. A tool that hangs is killed
// after a minute.
ToolRun run_tool(const Words& words, const Surroundings& surroundings = {});

}  // namespace test

#endif  // CONFIGAPI_TESTS_TOOLS_RUN_TOOL_H_
