// Addresses of settings: one word SECTION/KEY in any letter case, or a glob
// for many.

#ifndef CONFIGAPI_TOOLS_ADDRESS_H_
#define CONFIGAPI_TOOLS_ADDRESS_H_

#include <configapi/config.h>

#include <string>
#include <string_view>
#include <vector>

#include "failure.h"

namespace configapi::tool {

// A key of the schema table, which it points into.
struct Setting {
  const char* section;
  const cfgKey* key;
};

// "Tuning/DNStimeout", in the schema's spelling.
std::string address_of(const Setting& setting);

// Every setting once, in the schema's order. Where a section lists a key
// twice, the first slot is the one that reads and writes go by.
std::vector<Setting> all_settings();

// The settings of a section, named in any letter case; none where the schema
// does not have it.
std::vector<Setting> settings_of(std::string_view section);

// Selects settings by a word from the command line:
//   SECTION/KEY  each side a name or a glob: * ? [...]
//   SECTION      a whole section
//   KEY          where no section has that name, the key in any section
// The empty word selects everything.
class Selection {
 public:
  explicit Selection(std::string_view word);

  [[nodiscard]] bool matches(std::string_view section,
                             std::string_view key) const;

  // The settings of the schema that match, in its order.
  [[nodiscard]] std::vector<Setting> settings() const;

  // Whether the word, which is no section of the schema, is this one's name:
  // a directory may have sections of its own.
  [[nodiscard]] bool names(std::string_view section) const;

  // Whether the word may stand for many settings.
  [[nodiscard]] bool is_glob() const;

  // Whether the word has both sides, SECTION/KEY.
  [[nodiscard]] bool is_address() const;

 private:
  std::string section_;
  std::string key_;
  bool has_slash_;
};

// The section that was probably meant; empty when none is near.
std::string nearest_section(std::string_view word);

// The failure of a word that selects nothing, with what was probably meant.
Failure not_in_schema(std::string_view word);

// The settings that a word selects. Throws not_in_schema() when there is none.
std::vector<Setting> require_settings(std::string_view word);

// The same for a command that wants addresses: a word without '/' is refused.
std::vector<Setting> require_addressed(std::string_view word);

// The one setting of a command that changes it: a glob is refused, too.
Setting require_one(std::string_view word);

}  // namespace configapi::tool

#endif  // CONFIGAPI_TOOLS_ADDRESS_H_
