#!/usr/bin/env bash
# Usage: tidy_one.sh CLANG-TIDY-OPTION... FILE
# clang-tidy without its count of suppressed warnings, which is noise.
set -uo pipefail
output=$(clang-tidy-19 -quiet --warnings-as-errors='*' "$@" 2>&1)
status=$?
[ $status -eq 0 ] || printf '%s\n' "$output" | grep -v 'warnings\? generated\.$'
exit $status
