#!/usr/bin/env bash
# Usage: windows_program_test.sh GATEWAY.exe HOST.exe TAV.DLL EMULATOR...
# The Windows gateway under Wine: what a host reports is in its store after a restart.
set -u
gateway=$(realpath "${1:?usage: windows_program_test.sh GATEWAY.exe HOST.exe TAV.DLL EMULATOR...}")
folder=$(mktemp -d) || exit 2
# No ANSI code page has these characters: the command line must come through as UTF-16.
store="$folder/Größe 数.db"
cp "$2" "$folder/host.exe" && cp "$3" "$folder/tav.dll" || exit 2
shift 3
run=("$@")
pid=
failed=0
finish() {
  [ -z "$pid" ] || kill -9 "$pid" 2>/dev/null
  rm -rf "$folder"
}
trap finish EXIT

fail() {
  printf 'windows_program_test.sh: %s\n' "$*" >&2
  failed=1
}

expect_status() { # STATUS TEXT ARGUMENT...
  local status=0
  "${run[@]}" "$gateway" "${@:3}" >"$folder/out" 2>&1 </dev/null || status=$?
  [ "$status" = "$1" ] || fail "status $status instead of $1: ${*:3}: $(cat "$folder/out")"
  grep -qF -- "$2" "$folder/out" || fail "not \"$2\" but: $(cat "$folder/out")"
}

start() {
  local i
  # It removes the file of an earlier run itself, but only once it runs.
  rm -f "$folder/port"
  "${run[@]}" "$gateway" --port 0 --port-file "Z:$folder/port" --store "Z:$store" --log \
    >"$folder/log" 2>&1 </dev/null &
  pid=$!
  for ((i = 0; i < 1500; i++)); do # 30 seconds
    [ ! -s "$folder/port" ] || break
    kill -0 "$pid" 2>/dev/null || break
    sleep 0.02
  done
  [ -s "$folder/port" ] || {
    fail "the gateway does not start: $(cat "$folder/log")"
    exit 1
  }
  url="http://127.0.0.1:$(cat "$folder/port")"
}

# Sets `status`. Wine turns SIGINT into Ctrl+C.
stop() { # SIGNAL
  status=0
  kill "-$1" "$pid"
  wait "$pid" 2>/dev/null || status=$?
  pid=
}

events() { curl -s --max-time 30 --get --data-urlencode 'product=MinimalHost' "$url/api/ask/names"; }

expect_status 2 "this gateway is built without TLS" --port 0 --https
expect_status 1 "cannot read the settings file" --port 0 --config "Z:$folder/none"

start
(cd "$folder" && TAV_GATEWAY="$url/" "${run[@]}" "$folder/host.exe" >"$folder/host-log" 2>&1) ||
  fail "the host: $(cat "$folder/host-log")"
before=$(events)
[[ $before == *'["DocumentOpened","event",1]'* ]] || fail "the event is not in the store: $before"
grep -q 'DocumentOpened' "$folder/log" || fail "the event is not in the log: $(cat "$folder/log")"
page=$(curl -s --max-time 30 -H 'Accept: text/html' "$url/")
[[ $page == '<!doctype html>'* ]] || fail "no page but: $page"

# What the host's record was answered with must survive any end.
stop KILL
start
[ "$(events)" = "$before" ] || fail "after a restart: $(events) instead of $before"
stop INT
[ "$status" = 0 ] || fail "status $status after Ctrl+C: $(cat "$folder/log")"
[ ! -e "$folder/port" ] || fail "the port file is still there"

[ "$failed" = 0 ] || exit 1
echo "windows_program_test.sh: good"
