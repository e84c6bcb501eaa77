#!/usr/bin/env bash
# Usage: bench.sh [--rounds N]
# Called by ./run bench, which sets the TAV_... variables. Runs each scenario N times (default 3), each
# time in a new process, and reports the medians as a table and in build/bench/results.json.
# docs/benchmarks.md explains both.
# Exit status 0 if everything was measured and no event was lost, however slow the machine was.
set -uo pipefail
: "${TAV_ROOT:?}" "${TAV_LIBRARY:?}" "${TAV_WINDOWS_BIN:?}" "${TAV_GATEWAY_PROGRAM:?}" "${TAV_WINE:?}"

rounds=3
while [ $# -gt 0 ]; do
  case $1 in
    --rounds) rounds=${2:-} && shift ;;
    *) rounds='' ;;
  esac
  shift
done
if ! [[ $rounds =~ ^[1-9][0-9]?$ ]]; then
  sed -n '2,/^set/{/^#/p}' "$0" >&2
  exit 2
fi

folder=$TAV_ROOT/build/bench
rm -rf "$folder"
mkdir -p "$folder"
cd "$folder" || exit 1
unset TAV_TEST_GATEWAY
export TAV_CONFIGURATOR=null:// # no name look-ups during the measurements
failed=0

# A program that hangs must not block the benchmark.
windows_host=(timeout --kill-after=5 300 "$TAV_WINE" "$TAV_WINDOWS_BIN/bench_host.exe")
blast=(--threads 4 --events 25000)

load_average() { cut -d ' ' -f 1 /proc/loadavg; }

measure() {
  "${windows_host[@]}" "$@" --library "Z:$TAV_LIBRARY" || {
    echo "!! failed: $*" >&2
    failed=1
  }
}

# with_gateway [GATEWAY-OPTION...] -- SCENARIO [OPTION...]
with_gateway() {
  local options=()
  while [ "$1" != -- ]; do options+=("$1") && shift; done
  shift
  "$TAV_ROOT/tests/support/with_gateway.sh" "$TAV_GATEWAY_PROGRAM" "${options[@]}" -- \
    "${windows_host[@]}" "$@" --library "Z:$TAV_LIBRARY" || {
    echo "!! failed with the gateway: $*" >&2
    failed=1
  }
}

# A process of its own for each measurement, because each DLL is loaded once.
measure_load() {
  for _ in 1 2 3 4 5; do
    timeout --kill-after=5 120 "$TAV_WINE" "$TAV_WINDOWS_BIN/bench_load.exe" \
      "Z:$TAV_LIBRARY" "Z:$TAV_WINDOWS_BIN/bench_plain.dll" results.json || {
      echo "!! failed: load" >&2
      failed=1
    }
  done
}

load_before=$(load_average)
for ((round = 1; round <= rounds; ++round)); do
  printf '   round %d of %d: start,' "$round" "$rounds"
  measure_load
  printf ' host path,'
  measure latency --name blast_1 --threads 1 --events 50000
  measure latency --name blast_4 "${blast[@]}"
  measure latency --name paced_1 --threads 1 --events 2000 --pause-ms 1
  measure latency --name paced_4 --threads 4 --events 2000 --pause-ms 1
  printf ' single calls,'
  measure steps --name blast_1 --threads 1 --events 20000
  measure steps --name blast_4 --threads 4 --events 10000
  measure steps --name paced_1 --threads 1 --events 1000 --pause-ms 1
  printf ' end to end,'
  measure throughput --name null "${blast[@]}"
  with_gateway -- throughput --name http "${blast[@]}"
  with_gateway --https -- throughput --name https "${blast[@]}"
  measure compression --name level9 --events 100000
  printf ' memory\n'
  measure memory --name burst --threads 1 --events 20000
done
printf '   growth to 1,000,000 events\n'
for events in 10000 100000 1000000; do
  for what in sent waiting; do
    with_gateway -- growth-$what --name ${what}_$events --events $events --pause-ms 1 --group 20 \
      --scratch growth
  done
done
# Counts, not times: one round is enough.
measure requests --name blast --events 20000
measure requests --name paced --events 2000 --pause-ms 1

remark="$(date -u +%F), $(wine --version), $rounds rounds"
remark+=", load average $load_before before and $(load_average) after"
"${windows_host[@]}" report --remark "$remark" || failed=1
printf '\n   written to %s\n' "build/bench/results.json"
exit $failed
