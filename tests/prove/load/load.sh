#!/usr/bin/env bash
# Usage: load.sh GATEWAY THREADS EVENTS HOST-COMMAND...
# Runs load_host against a gateway that takes 50 ms for each request, and checks the gateway's store:
# every event is there once, and those of each thread are in the order in which it reported them.
set -euo pipefail
gateway=$1 threads=$2 events=$3
shift 3
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir "$work/folder"

# shellcheck disable=SC2016
"$(dirname "$0")/../../support/with_gateway.sh" "$gateway" --store "$work/tav.db" -- bash -c '
  curl -sf -o "$1/faults" --data "{\"kind\":\"delay\",\"milliseconds\":50,\"count\":1000000}" \
    "${TAV_TEST_GATEWAY}api/faults" &&
    TAV_GATEWAY=$TAV_TEST_GATEWAY TAV_CONFIGURATOR=null:// "${@:4}" "$2" "$3" "$1/folder"' \
  load "$work" "$threads" "$events" "$@"

found=$(sqlite3 -separator ' ' "$work/tav.db" "
  WITH load AS (
    SELECT e.id, json_extract(e.properties, '\$.thread') AS thread,
           json_extract(e.properties, '\$.serial') AS serial
    FROM events e JOIN names n ON n.id = e.name WHERE n.name = 'Load'),
  steps AS (
    SELECT serial - lag(serial, 1, -1) OVER (PARTITION BY thread ORDER BY id) AS step FROM load)
  SELECT (SELECT count(*) FROM load), (SELECT count(DISTINCT thread) FROM load),
         (SELECT count(*) FROM steps WHERE step <> 1)")
expected="$((threads * events)) $threads 0"
if [ "$found" != "$expected" ]; then
  printf 'events, threads and breaks of order: %s instead of %s\n' "$found" "$expected" >&2
  exit 1
fi
printf '%s events of %s threads arrived once and in order\n' $((threads * events)) "$threads"
