// How the tool ends, and how its parts report that they cannot go on.

#ifndef CONFIGAPI_TOOLS_FAILURE_H_
#define CONFIGAPI_TOOLS_FAILURE_H_

#include <stdexcept>
#include <string>
#include <utility>

namespace configapi::tool {

// One table for all commands; scripts depend on the numbers.
enum class ExitCode {
  kDone = 0,
  kNo = 1,           // the answer is no
  kUsage = 2,        // the command line
  kNotInSchema = 3,  // no such section or key
  kUnreachable = 4,  // directory not reachable, or bind refused
  kRefused = 5,      // the directory refused the request
  kNotWritable = 6,  // the key's type cannot be written
  kConflict = 7,     // somebody else was faster
  kFile = 8          // a file, or the output
};

// Becomes one line on standard error and the exit code.
class Failure : public std::runtime_error {
 public:
  Failure(ExitCode code, const std::string& text, std::string nearest = {})
      : std::runtime_error(text), code_(code), nearest_(std::move(nearest)) {}

  [[nodiscard]] ExitCode code() const { return code_; }

  // What was probably meant by a name that does not exist; may be empty.
  [[nodiscard]] const std::string& nearest() const { return nearest_; }

 private:
  ExitCode code_;
  std::string nearest_;
};

}  // namespace configapi::tool

#endif  // CONFIGAPI_TOOLS_FAILURE_H_
