// A row of the sweep over the allocations that can fail.

#ifndef CONFIGAPI_TESTS_ROWS_H_
#define CONFIGAPI_TESTS_ROWS_H_

#include <functional>
#include <set>
#include <string>
#include <vector>

#include "support/log_capture.h"

namespace test {

// Runs what it is given, and memory is out while it does.
using Out = std::function<void(const std::function<void()>&)>;

struct Row {
  std::string names;  // of the functions that it runs through
  // Calls them, and tells what came of it: results, logs, and what had to stay
  // as it was.
  std::function<std::string(const Out&)> tell;
  // All that is told when an allocation failed.
  std::set<std::string> failures;
};

// Among the failures: one that changes nothing that is told.
inline const std::string kSame = "same";

// The first line since the last look, behind a "; ".
inline std::string first_line(LogCapture& log) {
  const LogLines lines = log.take();
  return lines.empty() ? "" : "; " + lines.front();
}

// Functions that allocate nothing, and the use of all of them.
struct Frugal {
  std::string names;
  void (*use)(const Out& out);
};

std::vector<Row> heap_rows();
std::vector<Row> directory_rows();
std::vector<Frugal> frugal_rows();

// The calls of the last kind that speak to a directory. The LDAP library's own
// memory is not counted.
void use_directory(const Out& out);

}  // namespace test

#endif  // CONFIGAPI_TESTS_ROWS_H_
