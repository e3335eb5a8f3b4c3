// Collects what the code under test logs.

#ifndef CONFIGAPI_TESTS_LOG_CAPTURE_H_
#define CONFIGAPI_TESTS_LOG_CAPTURE_H_

#include <string>
#include <vector>

namespace test {

// One entry, written "level source: text" so that a failing expectation reads
// like a log.
using LogLines = std::vector<std::string>;

// From construction to destruction entries go here and nowhere else. Linking
// this file makes the test's LogMessage the one that the library calls.
class LogCapture {
 public:
  LogCapture();
  ~LogCapture();
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;
  LogCapture(LogCapture&&) = delete;
  LogCapture& operator=(LogCapture&&) = delete;

  // The entries since construction or the last call; forgets them.
  LogLines take();
};

}  // namespace test

#endif  // CONFIGAPI_TESTS_LOG_CAPTURE_H_
