// A message's header, as the library read it, for people and programs.

#ifndef CONFIGAPI_TOOLS_HEADER_VIEW_H_
#define CONFIGAPI_TOOLS_HEADER_VIEW_H_

#include <configapi/rfc822.h>

#include <string>
#include <string_view>
#include <vector>

#include "output.h"

namespace configapi::tool {

// Which fields to show: all, or those with these names (letter case and a ':'
// at the end do not matter).
class FieldChoice {
 public:
  explicit FieldChoice(const std::vector<std::string>& names);

  [[nodiscard]] bool all() const { return names_.empty(); }
  [[nodiscard]] bool has(std::string_view name) const;

 private:
  std::vector<std::string> names_;
};

// An object with a member for each field that there is: the text fields are
// texts, the address fields arrays of recipients, received and other arrays of
// texts, date an object with its text too.
Json header_row(const Header822& header, const FieldChoice& choice);

// Prints the fields below the message's own line; prints the values alone
// when fields were chosen. Returns whether there were any.
bool print_header(const Header822& header, const FieldChoice& choice,
                  const Output& output);

}  // namespace configapi::tool

#endif  // CONFIGAPI_TOOLS_HEADER_VIEW_H_
