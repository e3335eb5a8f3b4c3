#!/usr/bin/env bash
# The names that the library exports are those of the map, no more and no
# fewer, all under its version; what it imports comes from its dependencies
# and from the three names that a host provides.
#
# Usage: exports.sh LIBRARY MAP
set -euo pipefail
export LC_ALL=C

library=$1
map=$2
failed=0

# A name may stand twice in nm's list: a constructor has two symbols.
exported() {
  nm -DC --defined-only "$library" | cut -d' ' -f3- |
    grep -v '^CONFIGAPI_[0-9.]*$' | sort -u
}

listed() {
  grep -oE '^ +("[^"]+"|[A-Za-z_][A-Za-z_0-9]*);' "$map" |
    sed -E 's/^ +//; s/;$//; s/"//g; s/$/@@CONFIGAPI_1.0/' | sort -u
}

if ! diff <(listed) <(exported); then
  echo "FAILED: '<' stands in the map only, '>' is exported only"
  failed=1
fi

# Undefined names without a version belong to no library that we know of: only
# the host's own, and weak ones of the tool chain.
strays=$(nm -D --undefined-only "$library" | awk '$1 == "U" {print $2}' |
  grep -vE '@(GLIBC|GLIBCXX|CXXABI|OPENLDAP|GCC)_' |
  grep -vxE 'LogMessage|GetPrivateProfileString|appName' || true)
if [ -n "$strays" ]; then
  echo "FAILED: imported without a known origin:"
  echo "$strays"
  failed=1
fi

[ "$failed" = 0 ] && echo "$(exported | wc -l) names exported, as listed"
exit "$failed"
