// Changes to settings that are made together or not at all.

#ifndef CONFIGAPI_TOOLS_CHANGES_H_
#define CONFIGAPI_TOOLS_CHANGES_H_

#include <set>
#include <string>
#include <vector>

#include "difference.h"
#include "failure.h"
#include "link.h"
#include "session.h"

namespace configapi::tool {

// What is to change in one entry. It is done by one request, which a directory
// takes whole or not at all.
struct ChangedEntry {
  enum class State { kNotWritten, kWritten, kUnknown };

  std::string dn;
  bool is_new;        // there is no entry of the section yet
  std::string csn{};  // the number of its last change, where it is told
  std::vector<Difference> differences{};
  State state = State::kNotWritten;
};

enum class Writing { kTogether, kOneByOne };

// Every request carries what was read before: it deletes exactly the values
// that were there, and asserts (RFC 4528) that the entry has not been changed
// since, so that nobody's change is overwritten unseen. Where the directory
// does not number its changes, it asserts the values, or that there were none;
// a directory compares them without regard to runs of blanks.
class Changes {
 public:
  // `entries` is what the differences were found in; differences without one
  // are left out.
  Changes(const std::vector<Difference>& differences,
          const std::vector<Entry>& entries);

  [[nodiscard]] const std::vector<ChangedEntry>& entries() const {
    return entries_;
  }

  // Names of entries that were made for what then was not written, and that
  // could not be removed; they hold no setting.
  [[nodiscard]] const std::vector<std::string>& left_behind() const {
    return left_behind_;
  }

  // How they can be written: a directory without transactions (RFC 5805) takes
  // several entries one by one only.
  //
  // slapd 2.5 stores attribute types by number, and does not take back a number
  // that it gave in a transaction which it then rolls back: later the values of
  // one key would turn up as another's. Types that nothing has had so far, as
  // far as can be seen, therefore get theirs first, from an entry that is added
  // and removed at once. Where that is refused, one by one is the safe way.
  // Throws Link::failure().
  [[nodiscard]] Writing prepare_writing(const Link& link) const;

  // Asks the directory whether it would accept every change, which changes
  // nothing. False when not all can be asked about. Throws a Failure:
  // kConflict when a setting is no longer as it was read, and those of
  // Link::failure().
  [[nodiscard]] bool ask(const Link& link) const;

  // Writes. Throws as ask() does, at the first refusal; the states of entries()
  // then tell what was written and what was not. A transaction leaves nothing
  // behind, but a directory that keeps a log of changes may have logged what
  // came before the refusal: ask first.
  void write(const Link& link, Writing writing);

 private:
  void write_together(const Link& link);
  void commit(const Link& link);
  void write_one_by_one(const Link& link);
  [[nodiscard]] std::vector<std::string> new_types() const;
  void set_states(ChangedEntry::State state);

  std::vector<ChangedEntry> entries_;
  std::vector<std::string> left_behind_;
  std::set<std::string> known_types_;  // in lower case
};

}  // namespace configapi::tool

#endif  // CONFIGAPI_TOOLS_CHANGES_H_
