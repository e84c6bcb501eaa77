#!/usr/bin/env bash
# Usage: demo.sh, by way of `./run demo`, which says in TAV_... variables where everything is.
# Act one: starts the local gateway with HTTPS on a free loopback port, lets the sample host report
# a working session through tav.dll to it, and shows what arrived and whether it is what the host
# handed over. Act two: the host works while there is no gateway, what it reported is shown on disk,
# and the next session delivers it to a gateway that has come back.
# The status is 0 only when all that was handed over has arrived, once. build/demo keeps the host's
# reports, its messages and the folder in which the library kept its files.
set -euo pipefail

host_seconds=120 # far more than the host needs, also on a busy machine
extract_lines=12
gateway_pid=
host_pid=
# The library's files, beside the reports. Named to the host like this: a path of this system would
# be none under Wine.
storage=storage

say() { printf '\n   %s\n' "$*"; }

act() { printf '\n== %s\n' "$*"; }

# Lines of at most 100 characters.
fit() { sed -E 's/^(.{99}).+$/\1…/'; }

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

# It says on standard output what arrives.
start_gateway() {
  rm -f port
  "$TAV_GATEWAY_PROGRAM" --port 0 --port-file port --https --log </dev/null &
  gateway_pid=$!
  # The port file appears when the gateway listens; ten seconds are ample on a busy machine.
  local i
  for ((i = 0; i < 500; i++)); do
    if [ -s port ]; then
      url=https://127.0.0.1:$(cat port)/
      return 0
    fi
    kill -0 "$gateway_pid" 2>/dev/null || die "the gateway has ended before it listened"
    sleep 0.02
  done
  die "the gateway does not listen"
}

stop_gateway() {
  end_process "$gateway_pid"
  gateway_pid=
}

# run_host SITTING
# The host's output goes to a file, away from the terminal: there Wine would open a console of its
# own, which moves the cursor about between the gateway's lines. It runs in the background because
# bash acts on a signal only between commands, and during `wait`.
run_host() {
  local status=0
  TAV_GATEWAY=$url TAV_CONFIGURATOR=${url}configserver/ timeout --foreground "$host_seconds" \
    "$TAV_WINE" "$host" "handed-over-$1.json" "$1" "$storage" >"host-$1.log" 2>&1 </dev/null &
  host_pid=$!
  wait "$host_pid" || status=$?
  host_pid=
  if [ -s "host-$1.log" ]; then
    printf '\n   The host says:\n'
    sed 's/\r$//; s/^/   | /' "host-$1.log" | fit
  fi
  case $status in
    0) ;;
    124) die "the sample host has not ended within $host_seconds seconds" ;;
    *) die "the sample host failed with status $status" ;;
  esac
  [ -z "$gateway_pid" ] || kill -0 "$gateway_pid" 2>/dev/null ||
    die "the gateway ended while the host was running"
}

find_cache() {
  shopt -s nullglob
  cache=("$storage"/Tav*Cache_*)
  shopt -u nullglob
}

show_cache() {
  local file
  for file in "${cache[@]}"; do
    printf '   %s  %d bytes\n' "$file" "$(stat -c %s "$file")"
  done
  [ -x "$tavcat" ] || return 0
  say "What stands in it, as tavcat shows it:"
  # From the first cache file on. All of it is read, so that tavcat's own status counts.
  "$tavcat" --events "$storage" | sed -n '/^Tav[DI]\{0,1\}Cache_/,$p' |
    sed -n "1,${extract_lines}s/^/   | /p" | fit
}

act_one() {
  printf '\n'
  start_gateway
  run_host 1
  "$ledger" --record "${url%/}" handed-over-1.json || failed=1
}

act_two() {
  act "The gateway is gone, and comes back"
  stop_gateway
  say "The gateway has been stopped. The host works a second time, and ends."
  run_host 2
  find_cache
  [ ${#cache[@]} -gt 0 ] || die "nothing of it is kept on disk, in $PWD/$storage"
  say "What could not be sent is kept on disk, in build/demo/$storage:"
  show_cache
  say "The gateway comes back. The host works a third time."
  start_gateway >gateway.log
  run_host 3
  say "The gateway says:"
  sed -nE 's/^[0-9:.]+  record .*/   | &/p' gateway.log | fit
  "$ledger" "${url%/}" handed-over-2.json handed-over-3.json || failed=1
  find_cache
  if [ ${#cache[@]} -gt 0 ]; then
    say "There is still something on disk, which would arrive again:"
    show_cache
    failed=1
  else
    say "Nothing is left on disk."
  fi
}

: "${TAV_ROOT:?is not set; start the demonstration by ./run demo}"
: "${TAV_LIBRARY:?}" "${TAV_WINDOWS_BIN:?}" "${TAV_NATIVE_BIN:?}" "${TAV_GATEWAY_PROGRAM:?}"
: "${TAV_WINE:?}"
[ $# -eq 0 ] || die "the demonstration takes no arguments"
host=$TAV_WINDOWS_BIN/demo_host.exe
ledger=$TAV_NATIVE_BIN/demo_ledger
tavcat=$TAV_NATIVE_BIN/tavcat
need_file "$TAV_LIBRARY" "the library"
need_file "$host" "the sample host"
need_file "$TAV_GATEWAY_PROGRAM" "the local gateway"
need_file "$ledger" "the program that compares"
[ "$(dirname "$TAV_LIBRARY")" = "$TAV_WINDOWS_BIN" ] ||
  die "$TAV_LIBRARY does not lie beside the sample host"

folder=$TAV_ROOT/build/demo
rm -rf "$folder"
mkdir -p "$folder/$storage"
cd "$folder"
trap finish EXIT
trap 'exit 130' INT
trap 'exit 143' TERM HUP

failed=0
act_one
act_two
act "Both acts"
if [ "$failed" -eq 0 ]; then
  say "Both ledgers balance: nothing was lost, nothing came twice."
else
  say "Something does not balance; see above."
fi
exit "$failed"
