#!/usr/bin/env bash
# Counts which lines and branches of src/ the native suite executes, and fails if they are fewer than
# TAV_MIN_LINES and TAV_MIN_BRANCHES percent. lines.txt and html/index.html, in build/prove/coverage,
# show which were not; CONTRIBUTING.md says why. src/platform/windows and src/dll are not part of a
# native build: the suite runs them under Wine. The gateway's page, its stores and nginx execute nothing
# of src/, so their tests are left out. A killed process writes no counters.
set -euo pipefail
work=$PWD
# The tree differs from the native one in src/ only, and is as deep, so that a compiler cache has the rest.
tree=$TAV_ROOT/build/coverage
cd "$TAV_ROOT"
cmake --preset native -B "$tree" -DTAV_COVERAGE=ON >"$work/configure.log"
cmake --build "$tree" -j "$(nproc)" -- --quiet
find "$tree" -name '*.gcda' -delete
ctest --test-dir "$tree" -j "$((2 * $(nproc)))" --output-on-failure \
  --exclude-regex '^native\.(browser|clickhouse_test|gateway_|store_test)' >"$work/tests.log" || {
  tail -n 30 "$work/tests.log"
  exit 1
}
# Branches that the compiler adds for exceptions are not branches of the code.
mkdir -p "$work/html"
gcovr --root "$TAV_ROOT" --filter "$TAV_ROOT/src/" --object-directory "$tree" "$tree" \
  --exclude-throw-branches --exclude-unreachable-branches -j "$(nproc)" \
  --txt "$work/lines.txt" --html-details "$work/html/index.html" --print-summary \
  --fail-under-line "${TAV_MIN_LINES:-95}" --fail-under-branch "${TAV_MIN_BRANCHES:-87}" |
  tee "$work/summary.txt"
printf 'proved: the native suite executes %s of the lines and %s of the branches of src/\n' \
  "$(sed -n 's/^lines: //p' "$work/summary.txt")" "$(sed -n 's/^branches: //p' "$work/summary.txt")"
