#!/bin/bash
# Two servers, set up with the lines of docs/directory.md, and a component that
# has both in its host text while either is killed.
#
#   replication_test.sh PROJECT_FOLDER READER
set -euo pipefail

readonly project=$1 reader=$2
readonly limit=2000   # ms from the death of a server to a value from the other
readonly patience=15  # s until a setting has been passed on
export LDAPNOINIT=1

scratch=$(mktemp -d /tmp/configapi-replication.XXXXXX)
readonly scratch
folder=() port=() # by number, 1 and 2

fail() {
  printf 'replication: %s\n' "$*" >&2
  tail -n 20 "${folder[@]/%//log}" >&2
  exit 1
}

server() { CONFIGAPI_DIRECTORY=$scratch/$1 "$project/scripts/directory" "$2"; }

leave() {
  server 1 stop
  server 2 stop
  rm -rf "$scratch"
}

# block N prints the N-th indented block of the chapter.
block() {
  awk -v wanted="$1" '
    /^## / { here = $0 == "## Two servers" }
    here && /^       / { count += !inside; inside = 1 }
    !/^       / { inside = 0 }
    inside && count == wanted { print substr($0, 8); found = 1 }
    END { exit !found }
  ' "$project/docs/directory.md"
}

# insert TEXT before|behind LINE, in $text.
insert() {
  [[ $text == *$'\n'"$3"$'\n'* ]] || fail "no line $3"
  if [[ $2 == before ]]; then
    text=${text/"$3"/"$1"$'\n'"$3"}
  else
    text=${text/"$3"/"$3"$'\n'"$1"}
  fi
}

# configure OWN OTHER
configure() {
  local file=${folder[$1]}/slapd.conf text lines secret
  text=$(<"$file")
  lines=$(block 1 | sed "s/1/$1/")
  insert "$lines" before 'overlay     rwm'
  lines=$(block 2)
  insert "$lines" behind 'rwm-rewriteEngine   on'
  secret=$(<"${folder[$2]}/admin.password")
  lines=$(block 3 | sed -e "s|OTHER|127.0.0.1:${port[$2]}|" -e "s|SECRET|$secret|" \
    -e "s|/etc/ldap/ca.pem|${folder[$2]}/certificate.pem|")
  insert "$lines" before 'overlay     accesslog'
  printf '%s\n' "$text" >"$file"
}

crash() {
  local pid
  read -r pid _ <"$scratch/$1/server"
  kill -KILL "$pid"
}

# ask NUMBER|both COMMAND... has a component do that and prints its answer.
ask() {
  local hosts=$both
  [[ $1 == both ]] || hosts=127.0.0.1:${port[$1]}
  "$reader" "$hosts" uid=gateway "${folder[1]}/gateway.password" <<<"${*:2}"
}

# expect_at NUMBER VALUE waits until the server has the value.
expect_at() {
  local end=$((SECONDS + patience)) answer=''
  until [[ $answer == "0 "*" $2" ]]; do
    ((SECONDS < end)) || fail "server $1 has \"$answer\", not $2"
    sleep 0.05
    answer=$(ask "$1" read) || true
  done
}

# expect_now VALUE asks the component that has been running all the time.
expect_now() {
  local result ms value
  echo read >&"${component[1]}"
  read -r -t 60 result ms value <&"${component[0]}" || fail "no answer"
  [[ $result == 0 && $value == "$1" ]] || fail "read: $result \"$value\""
  ((ms < limit)) || fail "a read took $ms ms"
  echo "the first read: $ms ms"
}

trap leave EXIT
for number in 1 2; do
  code=0
  server "$number" start || code=$?
  ((code == 0)) || exit "$code"
  read -r _ "port[$number]" "folder[$number]" <"$scratch/$number/server"
done
readonly both="127.0.0.1:${port[1]} 127.0.0.1:${port[2]}"

# The second begins empty, so the gateway's password comes from the first.
crash 2
rm "${folder[2]}"/data/*
cp "${folder[1]}/gateway.password" "${folder[2]}/gateway.password"
configure 1 2
configure 2 1
server 1 cycle
server 2 cycle

[[ $(ask 1 write one) == 0 ]] || fail "not written"
expect_at 2 one

coproc component {
  exec "$reader" "$both" uid=gateway "${folder[1]}/gateway.password"
}
expect_now one
crash 1
expect_now one
[[ $(ask both write two) == 0 ]] || fail "not written with one server"
server 1 cycle
expect_at 1 two
crash 2
expect_now two
[[ $(ask both write three) == 0 ]] || fail "not written with one server"
server 2 cycle
expect_at 2 three
