#!/usr/bin/env bash
# Usage: programs.sh PROGRAM.exe...
# Checks that finished Windows programs need no DLL but those that every Windows has, and have no time
# stamp.
set -euo pipefail
[ $# -gt 0 ] || { echo "usage: programs.sh PROGRAM.exe..." >&2; exit 2; }
triplet=x86_64-w64-mingw32
allowed='kernel32 msvcrt mswsock ws2_32'

failed=0
fail() {
  echo "programs.sh: $*" >&2
  failed=1
}

for program in "$@"; do
  headers=$(TZ=UTC0 $triplet-objdump -p "$program")
  imports=$(sed -nE 's/^[[:space:]]*DLL Name: (.*)\.dll$/\1/Ip' <<<"$headers" | tr '[:upper:]' '[:lower:]')
  [ -n "$imports" ] || fail "$program: no imports found"
  for name in $imports; do
    [[ " $allowed " == *" $name "* ]] || fail "$program imports $name.dll"
  done
  stamp=$(sed -nE 's/^Time\/Date[[:space:]]+(.*)$/\1/p' <<<"$headers" | head -n 1)
  [[ $stamp == *1970* ]] || fail "$program carries a time stamp: $stamp"
  echo "   $(basename "$program"): $(stat -c %s "$program") bytes; imports $(xargs <<<"$imports")"
done
[ $failed = 0 ]
