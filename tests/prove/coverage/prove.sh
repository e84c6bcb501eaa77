#!/usr/bin/env bash
# Builds everything with counters, runs the whole native suite and reports how many lines and branches
# of src/ were executed. The lines that were not are listed in build/prove/coverage/uncovered.txt.
# src/platform/windows and src/dll are not part of a native build; the suite runs them under Wine.
# Fails if fewer lines or branches than TAV_MIN_LINES and TAV_MIN_BRANCHES percent are covered.
set -euo pipefail
work=$PWD
cmake -S "$TAV_ROOT" -B tree -G Ninja -DCMAKE_BUILD_TYPE=Debug -DCMAKE_C_COMPILER=gcc \
  -DCMAKE_CXX_COMPILER=g++ -DTAV_WERROR=OFF \
  "-DCMAKE_CXX_FLAGS_DEBUG=-O1 --coverage -fprofile-update=atomic" \
  "-DCMAKE_C_FLAGS_DEBUG=-O1 --coverage -fprofile-update=atomic" >configure.log
cmake --build tree -j "$(nproc)" -- --quiet
ctest --test-dir tree -j "$((2 * $(nproc)))" --output-on-failure >tests.log || {
  tail -n 30 tests.log
  exit 1
}
# Branches that the compiler adds for exceptions are not branches of the code.
gcovr --root "$TAV_ROOT" --filter "$TAV_ROOT/src/" --object-directory tree \
  --gcov-ignore-parse-errors --exclude-throw-branches --exclude-unreachable-branches \
  --txt "$work/lines.txt" --json-summary "$work/summary.json" --fail-under-line \
  "${TAV_MIN_LINES:-90}" --fail-under-branch "${TAV_MIN_BRANCHES:-80}"
awk 'NF >= 5 && $1 ~ /^src\// { print $1, $5 }' lines.txt >uncovered.txt
number() { sed -nE "s/.*\"$1\": ([0-9.]+).*/\\1/p" summary.json | tail -n 1; }
printf 'proved: %s %% of %s lines and %s %% of %s branches of src/ are executed by the native suite\n' \
  "$(number line_percent)" "$(number line_total)" "$(number branch_percent)" "$(number branch_total)"
