#include "complete.h"

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <algorithm>
#include <cstddef>
#include <iterator>

#include "address.h"
#include "nearest.h"

namespace configapi::tool {
namespace {

using Words = std::vector<std::string>;

bool begins(std::string_view name, std::string_view typed) {
  return same_name(name.substr(0, typed.size()), typed);
}

Words those_that_begin(const Words& names, std::string_view typed) {
  Words found;
  std::copy_if(names.begin(), names.end(), std::back_inserter(found),
               [&](const auto& name) { return begins(name, typed); });
  return found;
}

Words sections() {
  Words names;
  for (const Setting& setting : all_settings()) {
    if (names.empty() || names.back() != setting.section) {
      names.emplace_back(setting.section);
    }
  }
  return names;
}

// `glob`: a section alone is an argument too.
Words complete_setting(const std::string& typed, bool glob) {
  Words found;
  const bool has_slash = typed.find('/') != std::string::npos;
  const Words open = has_slash ? Words{} : those_that_begin(sections(), typed);
  if (open.size() > 1 || glob) {
    for (const auto& section : open) {
      found.push_back(glob ? section : section + "/");
    }
  }
  if (open.size() <= 1) {
    for (const Setting& setting : all_settings()) {
      const std::string address = address_of(setting);
      if (begins(address, typed)) {
        found.push_back(address);
      }
    }
  }
  return found;
}

// The choices of an option that has such: CLI11 shows them as TEXT:{a,b,c}.
Words choices(const std::string& type) {
  Words found;
  std::size_t from = type.find('{');
  while (from != std::string::npos && type[from] != '}') {
    const std::size_t to = type.find_first_of(",}", ++from);
    if (to == std::string::npos) {
      break;
    }
    found.push_back(type.substr(from, to - from));
    from = to;
  }
  return found;
}

// One walk along the words of a command line.
class Line {
 public:
  explicit Line(const CLI::App& app) : app_(app) {}

  // Takes a word that is complete.
  void pass(const std::string& word) {
    if (wanting_ != nullptr) {
      wanting_ = nullptr;
    } else if (only_arguments_ || !word.starts_with('-') || word == "-") {
      pass_argument(word);
    } else if (word == "--") {
      only_arguments_ = true;
    } else if (const CLI::Option* option = find_option(word)) {
      wanting_ = option->get_items_expected_max() > 0 ? option : nullptr;
    }
  }

  [[nodiscard]] std::optional<Words> finish(const std::string& typed) const {
    if (wanting_ != nullptr) {
      return complete_value(*wanting_, wanting_->get_type_name(), typed);
    }
    if (!only_arguments_ && typed.starts_with('-')) {
      return those_that_begin(options(), typed);
    }
    if (command_ == nullptr) {
      return those_that_begin(commands(), typed);
    }
    const CLI::Option* argument = next_argument();
    return argument == nullptr
               ? Words{}
               : complete_value(*argument, argument->get_name(true), typed);
  }

 private:
  // A value is the user's own.
  static Words complete_assignment(const std::string& typed) {
    if (typed.find('=') != std::string::npos) {
      return {};
    }
    Words words = complete_setting(typed, false);
    for (std::string& word : words) {
      word += word.ends_with('/') ? "" : "=";
    }
    return words;
  }

  static std::optional<Words> complete_value(const CLI::Option& option,
                                             const std::string& name,
                                             const std::string& typed) {
    if (name == "ADDRESS" || name == "GLOB") {
      return complete_setting(typed, name == "GLOB");
    }
    if (name == "ADDRESS=VALUE" || name == "SETTINGS") {
      return complete_assignment(typed);
    }
    if (name == "FILE") {
      return std::nullopt;
    }
    return those_that_begin(choices(option.get_type_name()), typed);
  }

  void pass_argument(const std::string& word) {
    if (command_ == nullptr) {
      const auto named = app_.get_subcommands(
          [&](const CLI::App* command) { return command->check_name(word); });
      command_ = named.empty() ? nullptr : named.front();
    } else {
      ++arguments_;
    }
  }

  // A command's own options and those of all commands.
  [[nodiscard]] std::vector<const CLI::Option*> all_options() const {
    auto all = app_.get_options();
    if (command_ != nullptr) {
      const auto own = command_->get_options();
      all.insert(all.end(), own.begin(), own.end());
    }
    return all;
  }

  [[nodiscard]] const CLI::Option* find_option(const std::string& word) const {
    const auto all = all_options();
    const auto found = std::find_if(
        all.begin(), all.end(),
        [&](const CLI::Option* option) { return option->check_name(word); });
    return found == all.end() ? nullptr : *found;
  }

  [[nodiscard]] Words options() const {
    Words names;
    for (const CLI::Option* option : all_options()) {
      for (const auto& name : option->get_snames()) {
        names.push_back("-" + name);
      }
      for (const auto& name : option->get_lnames()) {
        names.push_back("--" + name);
      }
    }
    std::sort(names.begin(), names.end());
    names.erase(std::unique(names.begin(), names.end()), names.end());
    return names;
  }

  [[nodiscard]] Words commands() const {
    Words names;
    for (const CLI::App* command : app_.get_subcommands({})) {
      names.push_back(command->get_name());
    }
    return names;
  }

  // The argument that the word would be, as far as there is one.
  [[nodiscard]] const CLI::Option* next_argument() const {
    int left = arguments_;
    for (const CLI::Option* option : command_->get_options()) {
      if (!option->get_positional()) {
        continue;
      }
      if (left < option->get_items_expected_max()) {
        return option;
      }
      left -= option->get_items_expected_max();
    }
    return nullptr;
  }

  const CLI::App& app_;
  const CLI::App* command_ = nullptr;
  const CLI::Option* wanting_ = nullptr;  // its value comes next
  bool only_arguments_ = false;           // behind "--"
  int arguments_ = 0;                     // of the command, so far
};

}  // namespace

std::optional<Words> complete(const CLI::App& app, const Words& words) {
  Line line(app);
  std::for_each(words.begin(), words.end() - 1,
                [&](const auto& word) { line.pass(word); });
  return line.finish(words.back());
}

Words split_line(std::string_view line) {
  Words words(1);
  char quote = '\0';
  bool begun = false;
  for (std::size_t at = 0; at < line.size(); ++at) {
    const char c = line[at];
    if (c == '\\' && quote != '\'' && at + 1 < line.size()) {
      words.back() += line[++at];
    } else if (quote == '\0' ? c == '\'' || c == '"' : c == quote) {
      quote = quote == '\0' ? c : '\0';
    } else if (quote == '\0' && (c == ' ' || c == '\t')) {
      if (begun) {
        words.emplace_back();
      }
      begun = false;
      continue;
    } else {
      words.back() += c;
    }
    begun = true;
  }
  words.erase(words.begin());
  return words;
}

}  // namespace configapi::tool
