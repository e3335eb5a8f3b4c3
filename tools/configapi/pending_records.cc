#include "pending_records.h"

#include <algorithm>
#include <utility>

namespace configapi::tool {

void PendingRecords::add(LogRecord record, Time now) {
  records_.push_back({std::move(record), now, std::nullopt});
  last_added_ = now;
}

std::set<std::string> PendingRecords::entries() const {
  std::set<std::string> all;
  for (const Pending& pending : records_) {
    all.insert(pending.record.entry);
  }
  return all;
}

void PendingRecords::judge(const PresentEntries& present, Time now) {
  std::map<std::string, Chain> chains;
  for (Pending& pending : records_) {
    chains[pending.record.entry].push_back(&pending);
  }
  for (const auto& [entry, chain] : chains) {
    const auto found = present.find(entry);
    judge_entry(chain, found == present.end() ? nullptr : &found->second, now);
  }
}

void PendingRecords::judge_entry(const Chain& chain, const std::string* present,
                                 Time now) const {
  const auto decide = [](Pending* pending, bool holds) {
    if (!pending->holds) {
      pending->holds = holds;
    }
  };
  // The change that left the entry as it is, or took it away.
  const auto last =
      std::find_if(chain.rbegin(), chain.rend(), [&](const Pending* pending) {
        return present != nullptr
                   ? pending->record.csn == *present
                   : pending->record.kind == LogRecord::Kind::kDelete;
      });
  for (auto later = chain.rbegin(); later != last; ++later) {
    const bool made = present != nullptr && (*later)->record.csn <= *present;
    if (now - last_added_ > kPatience ||
        now - (*later)->since > kLongestPatience) {
      decide(*later, made);
    }
  }
  // From there back by the number of the change before each; where a record
  // does not tell it, the one before it in the log is taken for it.
  std::string expected = last == chain.rend() ? "" : (*last)->record.csn;
  for (auto earlier = last; earlier != chain.rend(); ++earlier) {
    const bool holds = expected.empty() || (*earlier)->record.csn == expected;
    decide(*earlier, holds);
    if (holds) {
      expected = (*earlier)->record.before;
    }
  }
}

std::optional<PendingRecords::Decided> PendingRecords::next() {
  if (records_.empty() || !records_.front().holds) {
    return std::nullopt;
  }
  Decided decided{std::move(records_.front().record), *records_.front().holds};
  records_.pop_front();
  return decided;
}

}  // namespace configapi::tool
