#include "edit.h"

#include <CLI/App.hpp>
#include <algorithm>
#include <set>

#include "setting_row.h"

namespace configapi::tool {
namespace {

using State = ChangedEntry::State;

// Said of every failure behind the write.
constexpr const char* kNotReadBack = "; written, but not all read back";

std::string addresses_in(const std::vector<ChangedEntry>& entries,
                         State state) {
  std::string text;
  for (const ChangedEntry& entry : entries) {
    if (entry.state == state) {
      for (const Difference& difference : entry.differences) {
        text += (text.empty() ? "" : ", ") + address_of(difference.setting);
      }
    }
  }
  return text;
}

}  // namespace

void add_edit_options(CLI::App* command, EditOptions* options) {
  command->add_flag("-n", options->only_ask,
                    "Write nothing; ask the directory whether it would accept");
  command->add_flag("--secrets", options->secrets, "Show passwords in clear");
}

void require_distinct(const std::vector<Wanted>& wanted) {
  std::set<std::string> seen;
  for (const Wanted& one : wanted) {
    const std::string address = address_of(one.setting);
    if (!seen.insert(address).second) {
      throw Failure(ExitCode::kUsage, address + " is given twice");
    }
  }
}

Editor::Editor(const EditOptions& options, Tool* tool)
    : options_(options), tool_(tool), link_(tool->connection, tool->output) {
  // Before anything is written: what cannot be read back should not be.
  if (!options_.only_ask) {
    session_.emplace(link_.connection(), tool->output);
  }
}

Holdings Editor::read() {
  entries_ = link_.entries();
  return Holdings(entries_);
}

void Editor::carry_out(const std::vector<Difference>& differences) {
  Changes changes(differences, entries_);
  try {
    outcome_.clear();
    if (options_.only_ask) {
      ask(changes);
      return;
    }
    if (changes.entries().size() > 1) {
      (void)changes.ask(link_);  // where it cannot be asked, writing tells
    }
    const Writing writing = changes.prepare_writing(link_);
    if (writing == Writing::kOneByOne) {
      tool_->output.warning(
          directory_name(tool_->connection) +
          " cannot take these changes as one: the sections are written one "
          "after the other, up to the first refusal");
    }
    changes.write(link_, writing);
  } catch (const Failure& failure) {
    outcome_ = changes.entries();
    throw with_outcome(failure, changes.left_behind());
  }
}

void Editor::ask(const Changes& changes) const {
  if (!changes.ask(link_)) {
    tool_->output.warning(directory_name(tool_->connection) +
                          " cannot be asked about everything: of the rest "
                          "only the types of the values have been checked");
  }
}

bool Editor::untouched() const {
  return std::all_of(
      outcome_.begin(), outcome_.end(),
      [](const ChangedEntry& e) { return e.state == State::kNotWritten; });
}

Failure Editor::with_outcome(
    const Failure& failure, const std::vector<std::string>& left_behind) const {
  std::string text = failure.what();
  if (options_.only_ask) {
    return failure;
  }
  for (const std::string& dn : left_behind) {
    text += "; left behind without a setting: " + dn;
  }
  if (untouched()) {
    return {failure.code(), text + "; nothing was written"};
  }
  const std::string unknown = addresses_in(outcome_, State::kUnknown);
  const std::string written = addresses_in(outcome_, State::kWritten);
  const std::string left = addresses_in(outcome_, State::kNotWritten);
  text += unknown.empty() ? "" : "; perhaps written: " + unknown;
  text += "; written: " + (written.empty() ? "nothing" : written);
  text += left.empty() ? "" : "; not written: " + left;
  return {failure.code(), text};
}

void Editor::read_back(const std::vector<Difference>& differences,
                       bool show) try {
  if (!options_.only_ask) {
    session_->add_to_failures(kNotReadBack);
  }
  const Holdings now = options_.only_ask ? Holdings({}) : read();
  for (const Difference& difference : differences) {
    if (!options_.only_ask && !is_as_wanted(difference, now)) {
      Difference since = difference;
      since.before = difference.after;
      since.after = values_now(now, difference.setting);
      tool_->report(Failure(ExitCode::kRefused,
                            "written, but read back otherwise: " +
                                difference_line(since, options_.secrets)));
    } else if (show) {
      print(difference, options_.secrets, tool_->output);
    }
  }
} catch (const Failure& failure) {
  if (options_.only_ask) {
    throw;
  }
  throw Failure(failure.code(), std::string(failure.what()) + kNotReadBack);
}

// What the schema does not know the gateway does not read.
bool Editor::is_as_wanted(const Difference& difference, const Holdings& now) {
  const Values& after = difference.after;
  if (difference.setting.key->type == 0) {
    return values_now(now, difference.setting) == after;
  }
  const auto value = session_->read(difference.setting);
  return after.empty() ? !value : value == after.back();
}

}  // namespace configapi::tool
