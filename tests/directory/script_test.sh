#!/bin/bash
# Tries scripts/directory the way people and machines misuse it.
#
#   script_test.sh PATH_OF_SCRIPTS_DIRECTORY
set -euo pipefail

readonly script=$1
export LDAPNOINIT=1
export PATH=$PATH:/usr/sbin:/sbin

command -v slapd >/dev/null || {
  echo "slapd is not installed"
  exit 77
}

scratch=$(mktemp -d "/tmp/configapi script test.XXXXXX")
readonly scratch
readonly state="$scratch/state"
export CONFIGAPI_DIRECTORY=$state

leave() {
  local folder
  for folder in "$scratch"/state*; do
    CONFIGAPI_DIRECTORY=$folder "$script" stop >/dev/null || true
  done
  rm -rf "$scratch"
}
trap leave EXIT

case_name=''
failures=0

begin() { case_name=$1; }

complain() {
  printf '%s: %s\n' "$case_name" "$*" >&2
  failures=$((failures + 1))
}

# expect CODE COMMAND... runs the command; its texts go to files.
expect() {
  local wanted=$1 code=0
  shift
  "$@" >"$scratch/out" 2>"$scratch/err" || code=$?
  ((code == wanted)) ||
    complain "exit code $code instead of $wanted: $*: $(cat "$scratch/err")"
}

# Prints one of the values that "env" gives.
value() { "$script" env | sed -n "s/^export CONFIGAPI_$1=//p"; }

# as_gateway [PROGRAM ARGUMENT...] runs an LDAP program as the gateway.
as_gateway() {
  "${1:-ldapwhoami}" -x -H "ldap://$(value HOST):$(value PORT)" -D "$(value BINDDN)" \
    -y "$(value PASSFILE)" "${@:2}" >/dev/null
}

# A process that has ended may stay in the list until its parent looks.
has_ended() {
  local tries=200
  while ((tries-- > 0)); do
    [[ -n $( { tr -d '\0' <"/proc/$1/cmdline"; } 2>/dev/null) ]] || return 0
    sleep 0.05
  done
  return 1
}

process() { awk '{ print $1 }' "$state/server"; }

# Puts a program called slapd before the real one.
replace_slapd() {
  mkdir -p "$scratch/bin"
  printf '#!/bin/bash\n%s\n' "$1" >"$scratch/bin/slapd"
  chmod +x "$scratch/bin/slapd"
}

without_server() {
  begin "no server"
  expect 0 "$script" stop
  expect 1 "$script" status
  expect 1 "$script" env
  [[ ! -s $scratch/out ]] || complain "env prints something to evaluate"
  expect 2 "$script"
  expect 2 "$script" start now
  [[ ! -e $state ]] || complain "a state folder was made"
}

start_and_stop() {
  local port folder
  begin "start and stop"
  expect 0 "$script" start
  expect 0 "$script" status
  expect 0 as_gateway
  expect 0 "$script" env
  port=$(value PORT)
  folder=$(dirname "$(value PASSFILE)")
  [[ $(cut -d= -f1 "$scratch/out" | xargs) == "export CONFIGAPI_HOST \
export CONFIGAPI_PORT export CONFIGAPI_BINDDN export CONFIGAPI_PASSFILE \
export CONFIGAPI_TIMEOUT" ]] || complain "env: $(cat "$scratch/out")"
  cmp -s "$state/env" "$scratch/out" || complain "the env file differs"
  [[ $(stat -c %a "$(value PASSFILE)") == 600 ]] || complain "password mode"
  expect 0 "$script" start
  [[ $(value PORT) == "$port" ]] || complain "a second start took another port"
  expect 0 "$script" stop
  [[ ! -e $folder && ! -e $state ]] || complain "something stays behind"
  expect 0 "$script" stop
}

same_data_after_cycle() {
  local port
  begin "cycle"
  expect 1 "$script" cycle
  expect 0 "$script" start
  port=$(value PORT)
  printf 'dn: cn=Tuning\nobjectClass: qxconfig\n' | as_gateway ldapadd
  expect 0 "$script" cycle
  [[ $(value PORT) == "$port" ]] || complain "it came back elsewhere"
  expect 0 as_gateway ldapsearch -b cn=Tuning
  expect 0 "$script" stop
}

# A server that is gone, a process id that another program has by now, and
# records that nobody wrote.
stale_record() {
  local folder stranger text keep=$scratch/keep
  begin "stale record"
  expect 0 "$script" start
  folder=$(dirname "$(value PASSFILE)")
  kill -KILL "$(process)"
  has_ended "$(process)" || complain "the server was not killed"
  expect 1 "$script" status
  expect 1 "$script" env
  sleep 60 &
  stranger=$!
  printf '%s 20000 %s\n' "$stranger" "$folder" >"$state/server"
  expect 1 "$script" status
  expect 0 "$script" start
  expect 0 as_gateway
  expect 0 "$script" stop
  kill "$stranger" || complain "a process of somebody else was ended"
  [[ ! -e $folder && ! -e $state ]] || complain "something stays behind"
  mkdir "$keep"
  for text in '' 'nonsense' "$$ 20000 $keep" "0 0 /tmp/configapi-directory./x"; do
    mkdir -p "$state"
    printf '%s\n' "$text" >"$state/server"
    expect 1 "$script" status
    expect 0 "$script" stop
  done
  [[ -d $keep ]] || complain "a folder was removed that is not a server's"
}

at_once() {
  local n
  begin "several at once"
  for n in 1 2 3; do
    CONFIGAPI_DIRECTORY=$state$n "$script" start >"$scratch/out$n" 2>&1 &
    "$script" start >"$scratch/same$n" 2>&1 &
  done
  wait
  for n in '' 1 2 3; do
    CONFIGAPI_DIRECTORY=$state$n expect 0 as_gateway
  done
  (($(cat "$state"{,1,2,3}/server | cut -d' ' -f2 | sort -u | wc -l) == 4)) ||
    complain "the servers share ports"
  (($(grep -c already "$scratch"/same{1,2,3} | grep -c ':1$') == 2)) ||
    complain "one state folder had more than one server"
  for n in '' 1 2 3; do
    CONFIGAPI_DIRECTORY=$state$n expect 0 "$script" stop
  done
}

# slapd finds its port taken; the script is to look for another one.
taken_port() {
  begin "taken port"
  CONFIGAPI_DIRECTORY=${state}1 expect 0 "$script" start
  local taken
  taken=$(CONFIGAPI_DIRECTORY=${state}1 value PORT)
  replace_slapd "
    if mkdir '$scratch/tried' 2>/dev/null; then
      exec $(command -v slapd) \"\${@:1:\$#-1}\" ldap://127.0.0.1:$taken
    fi
    exec $(command -v slapd) \"\$@\""
  PATH=$scratch/bin:$PATH expect 0 "$script" start
  [[ -d $scratch/tried ]] || complain "the port was never tried"
  [[ $(value PORT) != "$taken" ]] || complain "the port is said to be ours"
  expect 0 as_gateway
  expect 0 "$script" stop
  CONFIGAPI_DIRECTORY=${state}1 expect 0 "$script" stop
}

failed_start() {
  begin "failed start"
  replace_slapd "exec $(command -v slapd) -f /nonexistent/conf \"\${@:3}\""
  PATH=$scratch/bin:$PATH expect 1 "$script" start
  grep -q nonexistent "$scratch/err" || complain "slapd's reason is not told: $(cat "$scratch/err")"
  expect 1 "$script" status
  [[ ! -e $state ]] || complain "something stays behind"
}

without_server
start_and_stop
same_data_after_cycle
stale_record
at_once
taken_port
failed_start
((failures == 0))
