#!/usr/bin/env bash
# Usage: demo.sh, by way of `./run demo`, which says in TAV_... variables where everything is.
# Starts the local gateway with HTTPS on a free loopback port, lets the sample host report a working
# session through tav.dll to it, and shows what arrived and whether it is what the host handed over.
# The status is 0 only when it is. build/demo keeps the host's report and its messages.
set -euo pipefail

host_seconds=120 # far more than the host needs, also on a busy machine
gateway_pid=
host_pid=

die() {
  printf '\n!! %s\n' "$*" >&2
  exit 1
}

end_process() {
  [ -n "$1" ] || return 0
  kill "$1" 2>/dev/null || true
  wait "$1" 2>/dev/null || true
}

finish() {
  local status=$?
  trap - EXIT
  end_process "$host_pid"
  end_process "$gateway_pid"
  exit "$status"
}

need_file() {
  [ -e "$1" ] || die "$2 is missing: $1 (./run demo builds it)"
}

start_gateway() {
  "$TAV_GATEWAY_PROGRAM" --port 0 --port-file port --https --log </dev/null &
  gateway_pid=$!
  # The port file appears when the gateway listens; ten seconds are ample on a busy machine.
  local i
  for ((i = 0; i < 500; i++)); do
    [ ! -s port ] || return 0
    kill -0 "$gateway_pid" 2>/dev/null || die "the gateway has ended before it listened"
    sleep 0.02
  done
  die "the gateway does not listen"
}

# The host's output goes to a file, away from the terminal: there Wine would open a console of its
# own, which moves the cursor about between the gateway's lines. It runs in the background because
# bash acts on a signal only between commands, and during `wait`.
run_host() {
  local status=0
  TAV_GATEWAY=$url timeout --foreground "$host_seconds" \
    "$TAV_WINE" "$host" handed-over.json >host.log 2>&1 </dev/null &
  host_pid=$!
  wait "$host_pid" || status=$?
  host_pid=
  if [ -s host.log ]; then
    printf '\n   The host says:\n'
    sed 's/\r$//; s/^/   | /' host.log
  fi
  case $status in
    0) ;;
    124) die "the sample host has not ended within $host_seconds seconds" ;;
    *) die "the sample host failed with status $status" ;;
  esac
  kill -0 "$gateway_pid" 2>/dev/null || die "the gateway ended while the host was running"
}

: "${TAV_ROOT:?is not set; start the demonstration by ./run demo}"
: "${TAV_LIBRARY:?}" "${TAV_WINDOWS_BIN:?}" "${TAV_NATIVE_BIN:?}" "${TAV_GATEWAY_PROGRAM:?}"
: "${TAV_WINE:?}"
[ $# -eq 0 ] || die "the demonstration takes no arguments"
host=$TAV_WINDOWS_BIN/demo_host.exe
ledger=$TAV_NATIVE_BIN/demo_ledger
need_file "$TAV_LIBRARY" "the library"
need_file "$host" "the sample host"
need_file "$TAV_GATEWAY_PROGRAM" "the local gateway"
need_file "$ledger" "the program that compares"
[ "$(dirname "$TAV_LIBRARY")" = "$TAV_WINDOWS_BIN" ] ||
  die "$TAV_LIBRARY does not lie beside the sample host"

folder=$TAV_ROOT/build/demo
mkdir -p "$folder"
cd "$folder"
rm -f port handed-over.json host.log
trap finish EXIT
trap 'exit 130' INT
trap 'exit 143' TERM HUP

printf '\n'
start_gateway
url=https://127.0.0.1:$(cat port)/
run_host

status=0
"$ledger" handed-over.json "${url%/}" || status=$?
exit "$status"
