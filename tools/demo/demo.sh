#!/usr/bin/env bash
# Usage: `./run demo [--stay]`, which calls this script and sets the TAV_... variables.
# The first phase starts the local gateway with HTTPS on a free loopback port, runs the sample host,
# which reports to it through tav.dll, and compares what arrived with what the host reported. The
# second phase stops the gateway, runs the host, lists the cache on disk, restarts the gateway and
# runs the host again, which delivers the cache. In the third phase the host's process dies in the
# middle of its work; the next run delivers the reported events from the journal.
# The exit status is 0 only if every reported event has arrived exactly once. Only events that were
# being sent when the process died may arrive twice. build/demo keeps the host's reports, its output,
# the library's storage folder and the gateway's store. With --stay the gateway and its page stay until
# Ctrl+C.
set -euo pipefail

host_seconds=120 # far more than the host needs, even on a busy machine
killed_status=9  # of a host that ends itself
max_shown_lines=12
gateway_pid=
host_pid=
# The library's storage folder. Relative, so that it is also a valid path under Wine.
storage=storage

say() { printf '\n   %s\n' "$*"; }

heading() { printf '\n== %s\n' "$*"; }

# Cuts lines to 100 characters.
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

# The gateway logs what arrives to standard output.
start_gateway() {
  rm -f port
  # The page has a port of its own, without TLS: a browser would warn of the certificate.
  "$TAV_GATEWAY_PROGRAM" --port 0 --port-file port --https --page-port 0 --page-port-file page-port \
    --store tav.db --log </dev/null &
  gateway_pid=$!
  # The port file appears when the gateway listens. Waits ten seconds at most.
  local i
  for ((i = 0; i < 500; i++)); do
    if [ -s port ]; then
      url=https://127.0.0.1:$(cat port)/
      page=http://127.0.0.1:$(cat page-port)/
      return 0
    fi
    kill -0 "$gateway_pid" 2>/dev/null || die "the gateway ended before it listened"
    sleep 0.02
  done
  die "the gateway does not listen"
}

stop_gateway() {
  end_process "$gateway_pid"
  gateway_pid=
}

# run_host RUN [--die]
# The host's output goes to a file: on a terminal Wine would open a console, which moves the cursor
# between the gateway's lines. The host runs in the background because bash handles signals only
# between commands and during `wait`.
run_host() {
  local status=0 expected=0
  [ $# -eq 1 ] || expected=$killed_status
  TAV_GATEWAY=$url TAV_CONFIGURATOR=${url}configserver/ timeout --foreground "$host_seconds" \
    "$TAV_WINE" "$host" "report-$1.json" "$1" "$storage" "${@:2}" >"host-$1.log" 2>&1 </dev/null &
  host_pid=$!
  wait "$host_pid" || status=$?
  host_pid=
  if [ -s "host-$1.log" ]; then
    printf '\n   The output of the host:\n'
    sed 's/\r$//; s/^/   | /' "host-$1.log" | fit
  fi
  case $status in
    "$expected") ;;
    124) die "the sample host did not end within $host_seconds seconds" ;;
    *) die "the sample host failed with status $status" ;;
  esac
  [ -z "$gateway_pid" ] || kill -0 "$gateway_pid" 2>/dev/null ||
    die "the gateway ended while the host was running"
}

find_files() {
  shopt -s nullglob
  cache=("$storage"/Tav*Cache_*)
  journals=("$storage"/Tav*Journal_*)
  shopt -u nullglob
}

# show_files KIND FILE...
show_files() {
  local file
  for file in "${@:2}"; do
    printf '   %s  %d bytes\n' "$file" "$(stat -c %s "$file")"
  done
  say "Its contents, as shown by tavcat:"
  # From the first file of the kind on, without what has been delivered. sed reads to the end, so that
  # tavcat's own status counts.
  "$TAV_WINE" "$tavcat" --events "$storage" | sed -n "/^Tav[DI]\\{0,1\\}$1_/,\$p" |
    sed '/  settled$/d' | sed -n "1,${max_shown_lines}s/^/   | /p" | fit
}

first_phase() {
  printf '\n'
  start_gateway
  run_host 1
  "$ledger" --record "${page%/}" report-1.json || failed=1
}

second_phase() {
  heading "Without a gateway"
  stop_gateway
  say "The gateway has been stopped. The host runs a second time."
  run_host 2
  find_files
  [ ${#cache[@]} -gt 0 ] || die "there is no cache in $PWD/$storage"
  say "What could not be sent is in the cache, in build/demo/$storage:"
  show_files Cache "${cache[@]}"
  say "The gateway has been restarted. The host runs a third time."
  start_gateway >gateway.log
  run_host 3
  say "The gateway's log:"
  sed -nE 's/^[0-9:.]+  record .*/   | &/p' gateway.log | fit
  "$ledger" "${page%/}" report-2.json report-3.json || failed=1
  check_nothing_waits
}

check_nothing_waits() {
  find_files
  if [ ${#cache[@]} -gt 0 ]; then
    say "The cache is not empty; its records would arrive again:"
    show_files Cache "${cache[@]}"
    failed=1
  elif [ ${#journals[@]} -gt 0 ]; then
    say "There is a journal, although no host runs:"
    show_files Journal "${journals[@]}"
    failed=1
  else
    say "The cache is empty, and there is no journal."
  fi
}

third_phase() {
  heading "A process that dies"
  stop_gateway
  start_gateway >gateway.log
  say "The host runs a fourth time. In the middle of its work it ends itself with TerminateProcess,"
  printf '   while all of its threads report.\n'
  run_host 4 --die
  find_files
  [ ${#journals[@]} -gt 0 ] || die "there is no journal in $PWD/$storage"
  say "What was not delivered yet is in its journal:"
  show_files Journal "${journals[@]}"
  say "The host runs a fifth time."
  run_host 5
  say "The gateway's log:"
  sed -nE 's/^[0-9:.]+  record .*/   | &/p' gateway.log | fit
  "$ledger" "${page%/}" report-4.json report-5.json || failed=1
  check_nothing_waits
}

: "${TAV_ROOT:?is not set; start the demonstration with ./run demo}"
: "${TAV_LIBRARY:?}" "${TAV_WINDOWS_BIN:?}" "${TAV_NATIVE_BIN:?}" "${TAV_GATEWAY_PROGRAM:?}"
: "${TAV_WINE:?}"
stay=
[ "${1:-}" != --stay ] || { stay=1; shift; }
[ $# -eq 0 ] || die "the demonstration takes no argument but --stay"
host=$TAV_WINDOWS_BIN/demo_host.exe
ledger=$TAV_NATIVE_BIN/demo_ledger
tavcat=$TAV_WINDOWS_BIN/tavcat.exe
need_file "$TAV_LIBRARY" "the library"
need_file "$host" "the sample host"
need_file "$TAV_GATEWAY_PROGRAM" "the local gateway"
need_file "$ledger" "the program that compares"
need_file "$tavcat" "the program that shows files"
[ "$(dirname "$TAV_LIBRARY")" = "$TAV_WINDOWS_BIN" ] ||
  die "$TAV_LIBRARY is not in the sample host's folder"

folder=$TAV_ROOT/build/demo
rm -rf "$folder"
mkdir -p "$folder/$storage"
cd "$folder"
trap finish EXIT
trap 'exit 130' INT
trap 'exit 143' TERM HUP

failed=0
first_phase
second_phase
third_phase
heading "Result"
if [ "$failed" -eq 0 ]; then
  say "All ledgers balance: nothing was lost."
else
  say "A check failed; see above."
fi
if [ -n "$stay" ]; then
  say "The gateway's page: $page"
  printf '   Ctrl+C ends the gateway.\n'
  trap 'exit "$failed"' INT TERM HUP
  wait "$gateway_pid" || true
else
  say "The gateway's page was $page; it shows what has arrived."
  printf '   ./run demo --stay keeps it, and ./run gateway starts a gateway of your own.\n'
fi
exit "$failed"
