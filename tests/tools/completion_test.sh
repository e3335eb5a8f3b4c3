#!/usr/bin/env bash
# The completion scripts in their shells, as far as those are installed.
# Usage: completion_test.sh FOLDER_OF_THE_TOOL
set -uo pipefail
PATH=$1:$PATH

# expect SHELL WHAT EXPECTED ACTUAL
expect() {
  [[ $3 == "$4" ]] && return
  printf 'FAILED: %s completes %s to\n%s\ninstead of\n%s\n' "$1" "$2" "$4" "$3"
  failed=1
}

failed=0
# shellcheck source=/dev/null
source <(configapi completion bash)
# shellcheck disable=SC2317 # the script calls it
compopt() { printf -v options '%s' "$*"; }
# in_bash LINE LAST_WORD EXPECTED: what bash itself would hand over.
in_bash() {
  options='' COMPREPLY=() COMP_LINE="$1 rest" COMP_POINT=${#1}
  COMP_WORDS=("$2") COMP_CWORD=0
  _configapi configapi
  expect bash "$1" "$3" "$options:$(IFS=,; echo "${COMPREPLY[*]}")"
}
in_bash 'configapi get tuning/dns' 'tuning/dns' \
  ':Tuning/DNStimeout,Tuning/DNSretries'
in_bash "configapi get 'Local" "'Local" '-o nospace:LocalMail/,Local Components/'
in_bash 'configapi list local' 'local' ':LocalMail,Local\ Components'
in_bash 'configapi headers ' '' '-o default:'

readonly both='LocalMail/ Local Components/'
if command -v zsh >/dev/null; then
  # shellcheck disable=SC2016 # for zsh to expand
  expect zsh "'Local" "-U -S  -- $both -U -- " "$(zsh -fc '
    compdef() { : }
    compadd() { print -rn -- "$* " }
    source <(configapi completion zsh)
    words=(configapi get Local) CURRENT=3 PREFIX=Local
    _configapi')"
fi
if command -v fish >/dev/null; then
  expect fish Local 'Local Components/ LocalMail/' "$(fish -Nc '
    configapi completion fish | source
    complete -C "configapi get Local" | sort | string join " "')"
fi
exit $failed
