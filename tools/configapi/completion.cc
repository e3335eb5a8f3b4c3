// configapi completion SHELL

#include <CLI/App.hpp>
#include <cstdio>
#include <map>
#include <memory>
#include <string>
#include <string_view>

#include "commands.h"

namespace configapi::tool {
namespace {

// The scripts leave the work to `configapi complete`: it prints the words that
// fit, one per line, and ends with 1 where a file is wanted.

// A word in open quotes stays in them; elsewhere blanks need a backslash.
constexpr std::string_view kBash = R"(_configapi() {
  local answer word
  answer=$(configapi complete --line "${COMP_LINE:0:COMP_POINT}" 2>/dev/null) || {
    compopt -o default
    return
  }
  [[ -n $answer ]] || return
  mapfile -t COMPREPLY <<<"$answer"
  [[ $answer != *[/=] ]] || compopt -o nospace
  if [[ ${COMP_WORDS[COMP_CWORD]} != [\'\"]* ]]; then
    for word in "${!COMPREPLY[@]}"; do
      printf -v "COMPREPLY[$word]" %q "${COMPREPLY[word]}"
    done
  fi
}
complete -F _configapi configapi
)";

constexpr std::string_view kZsh = R"(#compdef configapi
_configapi() {
  local answer
  local -a found
  answer=$(configapi complete "${(@Q)words[2,CURRENT-1]}" "${(Q)PREFIX}" 2>/dev/null) || {
    _files
    return
  }
  [[ -n $answer ]] || return 1
  found=("${(@f)answer}")
  compadd -U -S '' -- "${(@M)found:#*[/=]}"
  compadd -U -- "${(@)found:#*[/=]}"
}
if [[ $funcstack[1] == _configapi ]]; then
  _configapi "$@"
else
  compdef _configapi configapi
fi
)";

constexpr std::string_view kFish = R"(function __configapi_complete
  set -l words (commandline -opc) (commandline -ct | string unescape)
  set -l found (configapi complete $words[2..] 2>/dev/null)
  or begin
    __fish_complete_path (commandline -ct)
    return
  end
  printf '%s\n' $found
end
complete -c configapi -f -a '(__configapi_complete)'
)";

}  // namespace

void add_completion(CLI::App* app, Tool* tool) {
  static const std::map<std::string, std::string_view> kScripts{
      {"bash", kBash}, {"fish", kFish}, {"zsh", kZsh}};
  const auto shell = std::make_shared<std::string>();
  CLI::App* command = app->add_subcommand(
      "completion", "Print a script that completes words in a shell");
  command->add_option("SHELL", *shell, "bash, zsh or fish")
      ->required()
      ->check(CLI::IsMember({"bash", "zsh", "fish"}));
  command->callback([shell, tool] {
    std::string text(kScripts.at(*shell));
    text.pop_back();
    tool->output.line(text);
  });
}

}  // namespace configapi::tool
