// An INI file of settings, read against the schema.

#ifndef CONFIGAPI_TOOLS_SETTINGS_FILE_H_
#define CONFIGAPI_TOOLS_SETTINGS_FILE_H_

#include <cstddef>
#include <set>
#include <string>
#include <vector>

#include "difference.h"
#include "failure.h"
#include "holdings.h"
#include "ini_text.h"

namespace configapi::tool {

// Faults that are told; what lies behind the last is not looked at.
inline constexpr std::size_t kMostFaults = 50;

struct FileFault {
  std::size_t line;
  std::string text;
  std::string nearest{};            // for a name that the schema lacks
  ExitCode code = ExitCode::kFile;  // kNotInSchema for those
};

class SettingsFile {
 public:
  // Reads a file, "-" or none being standard input, to its end. Throws a
  // Failure (kFile) for one that cannot be read or has more than 4 MiB.
  explicit SettingsFile(const std::string& path);

  // "standard input" or the path.
  [[nodiscard]] const std::string& name() const { return name_; }

  // What could be read, in the file's order; each setting once.
  [[nodiscard]] const std::vector<Wanted>& wanted() const { return wanted_; }

  [[nodiscard]] const std::vector<FileFault>& faults() const { return faults_; }

  // "FILE:12: TEXT", for a line of the file.
  [[nodiscard]] Failure failure(const FileFault& fault) const;

 private:
  void begin_section(const IniLine& line);
  void add(const IniLine& line);
  void add_first(const IniLine& line, const Setting& setting);
  void add_further(const IniLine& line, const Setting& setting);
  void fault(const IniLine& line, const std::string& text);

  std::string name_;
  std::vector<Wanted> wanted_;
  std::vector<FileFault> faults_;
  std::vector<Setting> section_;  // being read; empty for an unknown one
  std::set<std::string> values_;  // of the setting that was wanted last
};

// Puts what is wanted into the form that is stored. Every line that is wrong
// goes to `faults`. A directory may hold values that are not allowed, and an
// export has them: what would stay as it is need not be right.
void judge_all(std::vector<Wanted>* all, const Holdings& now,
               std::vector<FileFault>* faults);

}  // namespace configapi::tool

#endif  // CONFIGAPI_TOOLS_SETTINGS_FILE_H_
