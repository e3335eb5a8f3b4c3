// Everything that the tool prints: plain lines or JSON objects on standard
// output, failures on standard error.

#ifndef CONFIGAPI_TOOLS_OUTPUT_H_
#define CONFIGAPI_TOOLS_OUTPUT_H_

#include <functional>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <string_view>

#include "failure.h"

namespace configapi::tool {

// Members keep the order in which a command adds them.
using Json = nlohmann::ordered_json;

// A text on one line and without power over a terminal: line feed, carriage
// return and tab as \n \r \t, other control bytes and bytes that are no UTF-8
// as \xNN. Backslashes stay as they are, so that network paths can be read and
// copied; the exact bytes are what --json is for.
std::string visible(std::string_view bytes);

// Fills a line up to the column and leaves at least two blanks. Columns count
// characters, not bytes.
void pad_to(std::string* line, std::size_t column);

class Output {
 public:
  bool json = false;   // objects instead of lines
  bool quiet = false;  // nothing on standard error

  // Called before something is written to the terminal, so that a progress
  // line can make room.
  std::function<void()> before_write;

  // Prints one line. The text is escaped already where it is not ours.
  void line(std::string text) const;

  // Prints one object on one line. Bytes that are no UTF-8 become U+FFFD.
  void object(const Json& object) const;

  // Hands over what is still buffered. Throws a Failure when not everything
  // that was printed could be written.
  static void finish();

  // Reports a failure on standard error, unless quiet.
  void error(const Failure& failure) const;

  // Says on standard error what is wrong but fails nothing, unless quiet.
  void warning(const std::string& text) const;

  // What error() writes; empty when quiet.
  [[nodiscard]] std::string rendered(const Failure& failure) const;

 private:
  void complain(const std::string& line) const;
  void write(std::string_view bytes) const;
};

}  // namespace configapi::tool

#endif  // CONFIGAPI_TOOLS_OUTPUT_H_
