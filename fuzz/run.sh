#!/usr/bin/env bash
# Usage: run.sh --fresh|--grow|--inputs PROGRAM WORK [OPTION...]
# Runs one fuzzer with the inputs that fuzz_seeds makes, those in fuzz/corpus and those in WORK/corpus,
# to which it adds the new ones that it finds. The options go to libFuzzer: -max_total_time=600 fuzzes
# for ten minutes. An input that fails is left in WORK.
#   --fresh   empties WORK/corpus before, so that the same options make the same runs
#   --inputs  runs each input once and finds no new ones, for programs that do not count coverage
set -euo pipefail
mode=$1
program=$2
work=$3
shift 3
name=$(basename "$program")
corpus=$(cd "$(dirname "$0")" && pwd)/corpus/$name

[ "$mode" != --fresh ] || rm -rf "$work/corpus"
rm -rf "$work/seeds" "$work/tmp"
mkdir -p "$work/seeds/$name" "$work/corpus" "$work/tmp"
"$(dirname "$program")/fuzz_seeds" "$work/seeds"
# A run may write some files.
if [ -w /dev/shm ]; then
  TMPDIR=$(mktemp -d /dev/shm/fuzz.XXXXXX)
  trap 'rm -rf "$TMPDIR"' EXIT
else
  TMPDIR=$work/tmp
fi
export TMPDIR

inputs=("$work/corpus" "$work/seeds/$name")
[ ! -d "$corpus" ] || inputs+=("$corpus")
options=(-artifact_prefix="$work/" -rss_limit_mb=2048 -timeout=60 -max_len=4096 -print_final_stats=1)
if [ "$mode" = --inputs ]; then
  # ThreadSanitizer needs much memory.
  options+=(-rss_limit_mb=0)
  mapfile -t inputs < <(find "${inputs[@]}" -type f)
fi
"$program" "${options[@]}" "$@" "${inputs[@]}"
