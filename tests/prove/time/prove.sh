#!/usr/bin/env bash
# The properties of time with many seeds: TAV_TIME_SEEDS of them, each a year of a host's runs.
set -euo pipefail
seeds=${TAV_TIME_SEEDS:-60}
log=$PWD/output
TAV_TIME_SEEDS=$seeds "$TAV_NATIVE_BIN/tests/time_properties" --gtest_color=no | tee "$log"
passed=$(grep -c '^\[       OK' "$log")
echo "proved: $passed properties of time hold for $seeds seeds"
