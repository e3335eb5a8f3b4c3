// Records of the log that wait until it is known whether they hold.
//
// The server writes a record while it makes a change. When the change is part
// of a transaction that is taken back, the record stays all the same. So the
// entry itself is asked: it has the number of its last change, and every record
// has the number of the change before, which leads back from there.

#ifndef CONFIGAPI_TOOLS_PENDING_RECORDS_H_
#define CONFIGAPI_TOOLS_PENDING_RECORDS_H_

#include <chrono>
#include <deque>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "log_record.h"

namespace configapi::tool {

// The number of an entry's last change by its UUID; an entry that is not there
// is missing.
using PresentEntries = std::map<std::string, std::string>;

class PendingRecords {
 public:
  using Time = std::chrono::steady_clock::time_point;

  // What one round of asking does not tell may be a transaction that is still
  // being made, or a record that is still to come: as long as records come one
  // after the other, and not for ever.
  static constexpr std::chrono::seconds kPatience{3};
  static constexpr std::chrono::seconds kLongestPatience{60};

  // Adds a record behind those that there are.
  void add(LogRecord record, Time now);

  [[nodiscard]] bool empty() const { return records_.empty(); }

  // The entries to ask for.
  [[nodiscard]] std::set<std::string> entries() const;

  // Decides what can be decided. `now` is not behind the asking.
  void judge(const PresentEntries& present, Time now);

  struct Decided {
    LogRecord record;
    bool holds;
  };
  // Takes the first record if it is decided.
  std::optional<Decided> next();

 private:
  struct Pending {
    LogRecord record;
    Time since;
    std::optional<bool> holds;
  };
  using Chain = std::vector<Pending*>;  // an entry's records, in order

  void judge_entry(const Chain& chain, const std::string* present,
                   Time now) const;

  std::deque<Pending> records_;
  Time last_added_;
};

}  // namespace configapi::tool

#endif  // CONFIGAPI_TOOLS_PENDING_RECORDS_H_
