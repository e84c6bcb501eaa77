#!/usr/bin/env bash
# Every fuzzer of fuzz/ for TAV_FUZZ_SECONDS (120), as many at a time as there are processors. The
# inputs that they find are kept in build/fuzz-corpus and used again. At the end the fuzzer with
# threads runs its inputs under ThreadSanitizer, if that tree was built (TAV_TSAN_BIN).
set -uo pipefail
seconds=${TAV_FUZZ_SECONDS:-120}
jobs=$(nproc)
export seconds TAV_ROOT TAV_ASAN_BIN

fuzz() { # FUZZER
  local work=$TAV_ROOT/build/fuzz-corpus/$1 begin=0
  mkdir -p "$work/corpus"
  begin=$(find "$work/corpus" -type f | wc -l)
  "$TAV_ROOT/fuzz/run.sh" --grow "$TAV_ASAN_BIN/fuzz/$1" "$work" "-max_total_time=$seconds" \
    >"$1.log" 2>&1
  local status=$? runs edges
  runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$1.log")
  edges=$(grep -o ' cov: [0-9]*' "$1.log" | tail -n 1 | tr -dc 0-9)
  printf '%-14s %9s runs  %6s edges  %5d new inputs%s\n' "$1" "${runs:-?}" "${edges:-?}" \
    $(($(find "$work/corpus" -type f | wc -l) - begin)) "$([ $status = 0 ] || echo "  FAILED")" |
    tee -a summary
  [ $status = 0 ] || tail -n 40 "$1.log"
}
export -f fuzz

: >summary
# shellcheck disable=SC2016 # the inner shell expands it
for fuzzer in "$TAV_ASAN_BIN"/fuzz/*_fuzz; do
  basename "$fuzzer"
done | xargs -P "$jobs" -I '{}' bash -c 'fuzz "$1"' fuzz '{}'

failed=$(grep -c FAILED summary)
if [ -x "${TAV_TSAN_BIN:-}/fuzz/table_fuzz" ]; then
  echo "table_fuzz under ThreadSanitizer"
  "$TAV_ROOT/fuzz/run.sh" --inputs "$TAV_TSAN_BIN/fuzz/table_fuzz" \
    "$TAV_ROOT/build/fuzz-corpus/table_fuzz" >tsan.log 2>&1 || {
    tail -n 40 tsan.log
    failed=$((failed + 1))
  }
fi
runs=$(awk '{ sum += $2 } END { print sum }' summary)
echo "proved: $(wc -l <summary) fuzzers, $runs runs in $seconds s each, $failed found something"
[ "$failed" = 0 ]
