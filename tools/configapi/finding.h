// What check finds wrong with settings, wherever they stand.

#ifndef CONFIGAPI_TOOLS_FINDING_H_
#define CONFIGAPI_TOOLS_FINDING_H_

#include <cstddef>
#include <string>
#include <vector>

#include "output.h"
#include "session.h"
#include "settings_file.h"
#include "verdict.h"

namespace configapi::tool {

struct Finding {
  std::string kind;       // "invalid", for scripts
  std::string text;       // to be read behind what it is about
  std::string section{};  // these two where there are such
  std::string key{};
  std::string nearest{};  // what was probably meant
  std::string dn{};       // of an entry
  std::string file{};     // and the line in it
  std::size_t line = 0;
};

// The finding of a value that is not ok().
Finding finding_of(const Setting& setting, const Verdict& verdict);

// Everything that is wrong with what a directory holds: in the schema's order,
// then what it does not know, then entries that no gateway reads.
std::vector<Finding> findings_in(const std::vector<Entry>& entries);

// With a file: lines that cannot be read, then values.
std::vector<Finding> findings_in(const SettingsFile& file);

// Prints a line or an object.
void print(const Finding& finding, const Output& output);

}  // namespace configapi::tool

#endif  // CONFIGAPI_TOOLS_FINDING_H_
