#!/usr/bin/env bash
# Does what a transcript tells, and compares. In a transcript "$ " begins a
# command of bash, "> " goes on with it. Below stands what it said, behind "2> "
# on standard error, and "= N" if it ended with another exit code than 0. Lines
# that begin with "#" are for the reader. A difference is shown as a patch of
# the transcript.
#
# Usage: transcript_test.sh TRANSCRIPT FOLDER_OF_COMMANDS [EMPTY_DIRECTORY]
# where EMPTY_DIRECTORY is the program that makes the private server empty.
set -o pipefail

readonly transcript=$1
grep -q '^\$ ' "$transcript" || { echo "no command in $transcript"; exit 1; }
[[ -x $2/configapi || -x $2/directory ]] || { echo "no command in $2"; exit 1; }
scratch=$(mktemp -d)
readonly scratch
trap 'rm -rf "$scratch"' EXIT

if (($# > 2)); then
  if [[ ! -s $CONFIGAPI_TEST_DIRECTORY ]]; then
    if [[ $CONFIGAPI_REQUIRE_DIRECTORY == 1 ]]; then
      echo "no directory server was started"
      exit 1
    fi
    echo "skipped: slapd is not installed"
    exit 0
  fi
  "$3" || exit
fi
(($# > 2)) && variables=$CONFIGAPI_TEST_DIRECTORY
for name in $(compgen -e); do # nothing else of the caller's gets in
  [[ $name =~ ^(PATH|TMPDIR|LD_LIBRARY_PATH|.*SAN_OPTIONS)$ ]] || unset "$name"
done
export PATH=$2:$PATH LDAPNOINIT=1
# Real mail, where it is present.
# shellcheck disable=SC2034 # transcripts use it
CORPUS=$(realpath "$(dirname "$0")/../../..")/shared/corpus
# shellcheck source=/dev/null
source "${variables:-/dev/null}"

# --- Words that transcripts use ----------------------------------------------

# ldap add|delete|modify|search ARGUMENT... as whom the tool would be bound.
# shellcheck disable=SC2317 # transcripts call it
ldap() {
  "ldap$1" -x -H "ldap://$CONFIGAPI_HOST:$CONFIGAPI_PORT" \
    -D "$CONFIGAPI_BINDDN" -y "$CONFIGAPI_PASSFILE" "${@:2}"
}

# entry DN LINE... adds one of the class of all sections, with lines of LDIF.
# shellcheck disable=SC2317 # transcripts call it
entry() {
  printf '%s\n' "dn: $1" 'objectClass: qxconfig' "${@:2}" | ldap add >/dev/null
}

# --- The transcript ----------------------------------------------------------

# perform COMMAND
perform() {
  local code
  eval "$1" >"$scratch/out" 2>"$scratch/err" </dev/null
  code=$?
  cat "$scratch/out"
  sed 's/^/2> /' "$scratch/err"
  ((code == 0)) || echo "= $code"
}

go_through() {
  local line command=''
  while IFS= read -r line; do
    if [[ $line != '> '* ]]; then
      perform "$command"
      command=''
    fi
    case $line in
      '$ '* | '> '*) command+=${line:2}$'\n' ;;
      '#'*) ;;
      *) continue ;;
    esac
    printf '%s\n' "$line"
  done <"$1"
  perform "$command"
}

mkdir "$scratch/work"
cd "$scratch/work" || exit
go_through "$transcript" |
  sed "s/port ${CONFIGAPI_PORT:-none}\b/port PORT/" >"$scratch/actual"
diff -u --label "$transcript" "$transcript" --label actual "$scratch/actual"
