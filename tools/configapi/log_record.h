// What the directory's log of changes says about one change of an entry.

#ifndef CONFIGAPI_TOOLS_LOG_RECORD_H_
#define CONFIGAPI_TOOLS_LOG_RECORD_H_

#include <optional>
#include <string>
#include <vector>

#include "difference.h"
#include "session.h"

namespace configapi::tool {

struct LogRecord {
  enum class Kind { kAdd, kModify, kDelete, kRename };

  Kind kind = Kind::kModify;
  std::string csn;     // the change's own number, in the order of changes
  std::string before;  // that of the entry's last change; may not be told
  std::string entry;   // the entry's UUID, which no rename changes
  std::string dn;
  std::string new_rdn;  // of a rename
  std::string time;     // "2026-11-23T04:12:07Z"
  std::string who;      // the name it was bound by, "anonymous" without one
  std::vector<std::string> mods;  // "DNStimeout:= 7"
  std::vector<std::string> old;   // "DNStimeout: 5"
};

// Nothing for an entry that is no record of a change.
std::optional<LogRecord> record_of(const Entry& entry);

// The settings of the schema that have other values behind the change, each
// once, in the schema's order; none for what is no section, and for a rename.
std::vector<Difference> changes_of(const LogRecord& record);

// The section that a name means: the cn it begins with; empty without one.
std::string section_of(const std::string& dn);

}  // namespace configapi::tool

#endif  // CONFIGAPI_TOOLS_LOG_RECORD_H_
