// configapi unset ADDRESS... [-n] [--secrets]

#include <CLI/App.hpp>
#include <algorithm>
#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "address.h"
#include "arguments.h"
#include "commands.h"
#include "edit.h"
#include "nearest.h"

namespace configapi::tool {
namespace {

struct UnsetOptions : EditOptions {
  std::vector<std::string> words;
};

// Settings that the schema does not know but the directory holds are there to
// be removed; a record stands for each.
class Foreign {
 public:
  explicit Foreign(const Holdings& holdings) {
    for (const Holding& holding : holdings.all()) {
      if (!holding.in_schema()) {
        records_.push_back({holding, {}});
        records_.back().key.key = records_.back().holding.key.c_str();
      }
    }
  }

  // Throws as require_one() when there is no such setting either.
  [[nodiscard]] Setting find(const std::string& word) const {
    const auto found =
        std::find_if(records_.begin(), records_.end(), [&](const Record& r) {
          return same_name(r.holding.section + "/" + r.holding.key, word);
        });
    return found != records_.end()
               ? Setting{found->holding.section.c_str(), &found->key}
               : require_one(word);
  }

 private:
  struct Record {
    Holding holding;
    cfgKey key;
  };
  std::deque<Record> records_;
};

void run(const UnsetOptions& options, Tool* tool) {
  Editor editor(options, tool);
  const Holdings now = editor.read();
  const Foreign foreign(now);
  std::vector<Wanted> wanted;
  for (const auto& word : options.words) {
    wanted.push_back({foreign.find(word)});
  }
  require_distinct(wanted);
  std::vector<Difference> differences;
  differences.reserve(wanted.size());
  for (const Wanted& one : wanted) {
    differences.push_back({one.setting, values_now(now, one.setting)});
  }
  editor.carry_out(differences);
  editor.read_back(differences, true);
}

}  // namespace

void add_unset(CLI::App* app, Tool* tool) {
  const auto options = std::make_shared<UnsetOptions>();
  CLI::App* command = app->add_subcommand(
      "unset", "Remove settings, all of them or none, from the directory");
  add_texts(command, "ADDRESS", &options->words,
            "SECTION/KEY, in the schema or in the directory")
      ->required();
  add_edit_options(command, options.get());
  command->callback([options, tool] { run(*options, tool); });
}

}  // namespace configapi::tool
