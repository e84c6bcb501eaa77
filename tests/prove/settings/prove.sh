#!/usr/bin/env bash
# Every setting with every kind of value, and hostile answers, under the sanitizers.
set -euo pipefail
log=$PWD/output
"$TAV_ASAN_BIN/tests/settings_matrix" --gtest_color=no | tee "$log"
passed=$(grep -c '^\[       OK' "$log")
echo "proved: $passed of $passed parts of the settings matrix hold"
