// The directory's log of changes (overlay accesslog), followed by content
// synchronisation (RFC 4533).

#ifndef CONFIGAPI_TOOLS_ACCESS_LOG_H_
#define CONFIGAPI_TOOLS_ACCESS_LOG_H_

#include <chrono>
#include <map>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "link.h"
#include "log_record.h"
#include "pending_records.h"

namespace configapi::tool {

// How far a log was read: the number of the last change of each server that
// takes changes.
class LogPosition {
 public:
  void advance(const std::string& csn);

  // Whether a change was read already.
  [[nodiscard]] bool has(const std::string& csn) const;

  // Whether all changes up to this one were.
  [[nodiscard]] bool is_empty() const { return last_.empty(); }

  // What the server takes it from.
  [[nodiscard]] std::string cookie() const;

 private:
  std::map<std::string, std::string> last_;  // by the number of the server
};

// The log does not reach back to the position: changes may be missing.
class LogGap : public std::runtime_error {
 public:
  LogGap() : std::runtime_error("the log does not reach back") {}
};

class AccessLog {
 public:
  // Throws a Failure: kRefused when the directory keeps no log that this
  // session may see, and those of Link. REQUIRES: the link outlives it.
  explicit AccessLog(const Link& link);

  // Where the log ends. Throws as Link does.
  [[nodiscard]] LogPosition end() const;

  // Asks for the records behind the position, and for those to come. Throws
  // LogGap, and as Link does.
  void follow(const LogPosition& from);

  // Adds the records that are there, or come within the time, in their order.
  // Throws LogGap, and a Failure: kUnreachable when the connection is lost,
  // kRefused when the server ends the search.
  //
  // Returns false when the server shows no more at once (its size limit): what
  // follows the last of these records is to be asked for again.
  [[nodiscard]] bool poll(std::chrono::milliseconds wait,
                          std::vector<LogRecord>* records);

  // What the entries are now. Throws as Link does.
  [[nodiscard]] PresentEntries present(
      const std::set<std::string>& uuids) const;

 private:
  [[nodiscard]] std::vector<Entry> search(
      const std::string& base, int scope, const std::string& filter,
      const std::vector<std::string>& attributes) const;
  [[nodiscard]] std::vector<std::string> values_of_log(
      const std::string& attribute) const;
  void end_with(LDAPMessage* message, bool any_records) const;

  const Link& link_;
  std::string base_;
  int message_id_ = -1;
  bool any_records_ = false;  // since follow()
};

}  // namespace configapi::tool

#endif  // CONFIGAPI_TOOLS_ACCESS_LOG_H_
