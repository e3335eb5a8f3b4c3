#!/usr/bin/env bash
# The protections that the build asks for are in the files.
#
# Usage: hardening.sh LIBRARY TOOL [fortified]
set -euo pipefail
export LC_ALL=C

library=$1
tool=$2
failed=0

# want WHAT FILE PATTERN COMMAND...: a line of the command's output matches.
want() {
  local what=$1 file=$2 pattern=$3
  shift 3
  if ! "$@" "$file" | grep -E -- "$pattern" >/dev/null; then
    echo "FAILED: $file: no $what"
    failed=1
  fi
}

for file in "$library" "$tool"; do
  want "read-only relocations" "$file" 'GNU_RELRO' readelf -lW
  want "binding at the start" "$file" 'NOW' readelf -dW
  want "data without code" "$file" 'GNU_STACK .* RW ' readelf -lW
  want "stack protector" "$file" '__stack_chk_fail' nm -D --undefined-only
  want "marked branch targets" "$file" 'endbr(32|64)' objdump -d -j .text
  if [[ ${3:-} == fortified ]]; then
    want "checked calls of the C library" "$file" '__[a-z]+_chk@' \
      nm -D --undefined-only
  fi
done
want "address of its own choice" "$tool" 'DYN' readelf -hW

[ "$failed" = 0 ] && echo "hardened"
exit "$failed"
