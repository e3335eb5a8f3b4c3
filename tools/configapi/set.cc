// configapi set ADDRESS=VALUE... [--was OLD] [-n] [--secrets]

#include <CLI/App.hpp>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "address.h"
#include "arguments.h"
#include "commands.h"
#include "edit.h"
#include "password.h"
#include "remark.h"
#include "setting_row.h"
#include "verdict.h"

namespace configapi::tool {
namespace {

struct SetOptions : EditOptions {
  std::vector<std::string> words;
  std::optional<std::string> was;
};

// ADDRESS=VALUE; without a value, which every user of the machine could read
// there, ADDRESS is a secret's, and has none yet.
Wanted wanted_by(const std::string& word) {
  const std::size_t equals = word.find('=');
  // It may be a secret that was meant to belong to the word before it.
  if ((equals == std::string::npos || word.find('/') > equals) &&
      Selection(word.substr(0, equals)).settings().empty()) {
    throw Failure(ExitCode::kUsage,
                  "a word is neither ADDRESS=VALUE nor a password's ADDRESS");
  }
  Wanted wanted{require_one(word.substr(0, equals))};
  if (equals != std::string::npos) {
    wanted.values.push_back(word.substr(equals + 1));
  } else if (!is_secret(wanted.setting.key->key)) {
    throw Failure(ExitCode::kUsage,
                  "'" + word + "' has no value: it takes ADDRESS=VALUE");
  }
  return wanted;
}

// Puts the value into the form that is stored.
void judge_one(Wanted* wanted) {
  const Verdict verdict = judge(wanted->setting, wanted->values.front());
  if (!verdict.ok()) {
    throw Failure(verdict.code(),
                  address_of(wanted->setting) + ": " + verdict.why);
  }
  wanted->values.front() = verdict.stored;
}

// Nothing when a word is wrong; each that is has been reported then. Nobody is
// asked for a secret in vain.
std::vector<Wanted> wanted_by(const std::vector<std::string>& words,
                              Tool* tool) {
  std::vector<Wanted> all;
  all.reserve(words.size());
  for (const auto& word : words) {
    try {
      Wanted wanted = wanted_by(word);
      if (!wanted.values.empty()) {
        judge_one(&wanted);
      }
      all.push_back(std::move(wanted));
    } catch (const Failure& failure) {
      tool->report(failure);
    }
  }
  if (all.size() < words.size()) {
    return {};
  }
  require_distinct(all);
  for (Wanted& wanted : all) {
    if (wanted.values.empty()) {
      wanted.values.push_back(read_secret(address_of(wanted.setting)));
      judge_one(&wanted);
    }
  }
  return all;
}

// The empty text stands for a setting that is not set.
void require_was(const std::string& was, const Difference& difference) {
  const std::string is =
      difference.before.empty() ? "" : difference.before.back();
  if (is == was) {
    return;
  }
  const std::string address = address_of(difference.setting);
  const auto shown = [](const std::string& value) {
    return value.empty() ? std::string("(not set)") : in_quotes(value);
  };
  throw Failure(ExitCode::kConflict,
                is_secret(difference.setting.key->key)
                    ? address + " is not what --was says"
                    : address + " is " + shown(is) + ", not " + shown(was));
}

std::vector<Difference> from_now(const std::vector<Wanted>& all,
                                 const Holdings& now) {
  std::vector<Difference> differences;
  differences.reserve(all.size());
  for (const Wanted& wanted : all) {
    differences.push_back(
        {wanted.setting, values_now(now, wanted.setting), wanted.values});
  }
  return differences;
}

// Without --was the last writer wins, but knows what was overwritten. A change
// of another key of the section is a conflict too, and asked about again.
void run(const SetOptions& options, Tool* tool) {
  constexpr int kMostTries = 10;
  if (options.was && options.words.size() != 1) {
    throw Failure(ExitCode::kUsage, "--was goes with one ADDRESS=VALUE");
  }
  const auto wanted = wanted_by(options.words, tool);
  if (wanted.empty()) {
    return;
  }
  Editor editor(options, tool);
  for (int tries = 1;; ++tries) {
    const auto differences = from_now(wanted, editor.read());
    if (options.was) {
      require_was(*options.was, differences.front());
    }
    try {
      editor.carry_out(differences);
      editor.read_back(differences, true);
      return;
    } catch (const Failure& failure) {
      if (failure.code() != ExitCode::kConflict || !editor.untouched() ||
          tries == kMostTries) {
        throw;
      }
    }
  }
}

}  // namespace

void add_set(CLI::App* app, Tool* tool) {
  const auto options = std::make_shared<SetOptions>();
  CLI::App* command = app->add_subcommand(
      "set", "Change settings, all of them or none, and read them back");
  add_texts(command, "ADDRESS=VALUE", &options->words,
            "SECTION/KEY=VALUE; a password's ADDRESS alone takes the value "
            "from a line of standard input")
      ->required();
  const auto store = [options](const CLI::results_t& words) {
    options->was = words.front();
    return true;
  };
  command
      ->add_option("--was", store,
                   "Only if the value still is OLD; '' if there is none")
      ->type_name("OLD");
  add_edit_options(command, options.get());
  command->callback([options, tool] { run(*options, tool); });
}

}  // namespace configapi::tool
