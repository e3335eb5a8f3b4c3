// What the commands that change settings have in common.

#ifndef CONFIGAPI_TOOLS_EDIT_H_
#define CONFIGAPI_TOOLS_EDIT_H_

#include <optional>
#include <string>
#include <vector>

#include "changes.h"
#include "commands.h"
#include "difference.h"
#include "holdings.h"
#include "link.h"
#include "session.h"

namespace configapi::tool {

struct EditOptions {
  bool only_ask = false;  // the directory, whether it would accept
  bool secrets = false;   // are shown
};

// Adds -n and --secrets.
void add_edit_options(CLI::App* command, EditOptions* options);

// Throws a Failure (kUsage) when a setting stands among the wanted twice.
void require_distinct(const std::vector<Wanted>& wanted);

// One sitting at the directory.
class Editor {
 public:
  // Connects. Throws as Link and Session do.
  Editor(const EditOptions& options, Tool* tool);

  // Reads what there is. Throws as Link::entries().
  Holdings read();

  // Writes the differences from what was read, or only asks. Throws a Failure
  // that says what was written and what was not.
  void carry_out(const std::vector<Difference>& differences);

  // Whether carry_out() wrote nothing for certain.
  [[nodiscard]] bool untouched() const;

  // Reads every setting as the gateway does, and prints the difference if it
  // is to be shown; a setting that is not what it should be is reported.
  void read_back(const std::vector<Difference>& differences, bool show);

 private:
  void ask(const Changes& changes) const;
  [[nodiscard]] Failure with_outcome(
      const Failure& failure,
      const std::vector<std::string>& left_behind) const;
  bool is_as_wanted(const Difference& difference, const Holdings& now);

  const EditOptions& options_;
  Tool* tool_;
  Link link_;
  std::optional<Session> session_;  // none when only asking
  std::vector<Entry> entries_;
  std::vector<ChangedEntry> outcome_;
};

}  // namespace configapi::tool

#endif  // CONFIGAPI_TOOLS_EDIT_H_
