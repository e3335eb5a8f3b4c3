#!/usr/bin/env bash
# Every test that the documents name exists, and every case of it.
# Usage: names_test.sh PROJECT_FOLDER BUILD_FOLDER
# shellcheck disable=SC2001,SC2016 # backticks are what names stand in
set -euo pipefail
cd "$1"
failed=0
named=0

# The last column of each table that says what a promise is shown by.
shown_by=$(awk -F'|' '
  /^\|/ { column = $(NF - 1) }
  /^$/ { shown = 0 }
  /^\|.*shown by \|$/ { shown = 1; next }
  shown && !/^\|-/ { print column }' docs/reliability.md docs/threats.md)
tests=$(ctest --test-dir "$2" -N)

# miss KIND NAME
miss() {
  echo "FAILED: the documents name $1 $2, which is not there"
  failed=1
}

while read -r name; do
  named=$((named + 1))
  [[ $tests =~ :\ "$name"[[:space:]] ]] || miss test "$name"
done < <(grep -oE '`[a-z0-9_]+`' <<<"$shown_by" | tr -d '`' | sort -u)
while read -r name; do
  grep -rqE "^TEST(_F)?\(\w+, $name\)" tests || miss case "$name"
done < <(sed 's/`[^`]*`//g' <<<"$shown_by" | grep -oE '\b[A-Z][A-Za-z0-9]+' |
  sort -u)
((named > 20)) || miss 'more than 20 tests, not' "$named"
exit $failed
