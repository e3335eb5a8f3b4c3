// What the directory holds, laid beside the schema.

#ifndef CONFIGAPI_TOOLS_HOLDINGS_H_
#define CONFIGAPI_TOOLS_HOLDINGS_H_

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "address.h"
#include "session.h"

namespace configapi::tool {

// One setting with its values in the directory's order; the gateway reads the
// last one. In the schema, in the directory, or both.
struct Holding {
  std::string section;
  std::string key;
  std::vector<std::string> values;
  std::optional<Setting> setting;

  [[nodiscard]] bool in_schema() const { return setting.has_value(); }
};

class Holdings {
 public:
  // The gateway reads a section from the first entry with its name: where
  // several have it, the others do not count.
  explicit Holdings(const std::vector<Entry>& entries);

  // Everything in the schema, set or not, in its order; a section's foreign
  // keys follow its own, and foreign sections follow all.
  [[nodiscard]] const std::vector<Holding>& all() const { return holdings_; }

  // Names of the entries that do not count.
  [[nodiscard]] const std::vector<std::string>& shadowed() const {
    return shadowed_;
  }

 private:
  void add_section(const std::string& section,
                   const std::vector<Setting>& settings, const Entry* entry);

  std::vector<Holding> holdings_;
  std::vector<std::string> shadowed_;
};

// The entry from which the gateway reads a section, or null.
const Entry* first_named(const std::vector<Entry>& entries,
                         std::string_view section);

// The values of a setting, in the schema or not, in the directory's order; none
// when it is not set.
std::vector<std::string> values_now(const Holdings& holdings,
                                    const Setting& setting);

}  // namespace configapi::tool

#endif  // CONFIGAPI_TOOLS_HOLDINGS_H_
