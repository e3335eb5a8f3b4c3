#include "arguments.h"

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <algorithm>

namespace configapi::tool {
namespace {

// Keeps a word from looking like a list. No word of a command line holds one.
constexpr char kGuard = '\0';

bool looks_like_list(const std::string& word) {
  return word.starts_with('[') && word.ends_with(']');
}

std::string take_guard(std::string& word) {  // NOLINT(*-reference): CLI11's
  if (word.ends_with(kGuard)) {
    word.pop_back();
  }
  return "";
}

// Values are freed of their guards before anything else looks at them.
void take_guards(CLI::App* app) {
  auto commands = app->get_subcommands({});
  commands.push_back(app);
  for (CLI::App* command : commands) {
    for (CLI::Option* option : command->get_options()) {
      option->transform(CLI::Validator(take_guard, "", "guard"));
    }
  }
}

}  // namespace

CLI::Option* add_texts(CLI::App* command, const std::string& name,
                       std::vector<std::string>* texts,
                       const std::string& what) {
  const auto store = [texts](const CLI::results_t& words) {
    *texts = words;
    return true;
  };
  return command->add_option(name, store, what)
      ->expected(CLI::detail::expected_max_vector_size)
      ->type_name("TEXT");
}

void parse_words(CLI::App* app, int argc, char** argv) {
  take_guards(app);
  std::vector<std::string> words(argv + 1, argv + std::max(argc, 1));
  for (std::string& word : words) {
    if (looks_like_list(word)) {
      word += kGuard;
    }
  }
  std::reverse(words.begin(), words.end());  // as CLI11 wants them
  app->parse(words);
}

}  // namespace configapi::tool
