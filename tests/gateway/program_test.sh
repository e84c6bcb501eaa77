#!/usr/bin/env bash
# Usage: program_test.sh GATEWAY
# The gateway as a process: its exit status, its files, and what it does with signals.
set -u
. "$(dirname "$0")/../support/eventually.sh"
gateway=${1:?usage: program_test.sh GATEWAY}
folder=$(mktemp -d) || exit 2
pid=
failed=0
finish() {
  [ -z "$pid" ] || kill -9 "$pid" 2>/dev/null
  rm -rf "$folder"
}
trap finish EXIT

fail() {
  printf 'program_test.sh: %s\n' "$*" >&2
  failed=1
}

expect_status() { # STATUS ARGUMENT...
  local status=0
  "$gateway" "${@:2}" >"$folder/out" 2>"$folder/err" </dev/null || status=$?
  [ "$status" = "$1" ] || fail "status $status instead of $1: ${*:2}: $(cat "$folder/err")"
}

start() { # ARGUMENT...
  "$gateway" "$@" --port 0 --port-file "$folder/port" >"$folder/log" 2>&1 </dev/null &
  pid=$!
  eventually test -s "$folder/port" || {
    fail "the gateway does not start: $(cat "$folder/log")"
    exit 1
  }
  port=$(cat "$folder/port")
}

# Opens a request and returns when the gateway has its headers and waits for the body.
begin_request() {
  local line
  exec 3<>"/dev/tcp/127.0.0.1/$port"
  printf 'POST / HTTP/1.1\r\nHost: localhost\r\nContent-Length: 2\r\nExpect: 100-continue\r\n\r\n' >&3
  read -r -t 10 line <&3
  [[ $line == "HTTP/1.1 100"* ]] || fail "no interim answer but: $line"
  read -r -t 10 line <&3
}

is_gone() { ! kill -0 "$pid" 2>/dev/null; }

expect_status 0 --help
expect_status 2 --pot
expect_status 2 --port 65536
expect_status 1 --config "$folder/none"
expect_status 1 --address 192.0.2.1 --port 0
echo short >"$folder/token"
expect_status 1 --port 0 --token-file "$folder/token"
expect_status 1 --port 0 --page-address 0.0.0.0 --page-port 0

# The first signal lets the request end.
start
begin_request
kill -TERM "$pid"
printf '{}' >&3
read -r -t 10 line <&3
[[ $line == "HTTP/1.1 200"* ]] || fail "no answer during the drain but: $line"
exec 3<&-
wait "$pid" || fail "status $? after a drain"
[ ! -e "$folder/port" ] || fail "the port file is still there"

# The address may be one of IPv6.
if grep -qs '^0\{31\}1 ' /proc/net/if_inet6; then
  start --address ::1
  eventually grep -qF "http://[::1]:$port" "$folder/log" ||
    fail "another URL: $(cat "$folder/log")"
  exec 3<>"/dev/tcp/::1/$port"
  printf 'GET / HTTP/1.0\r\nHost: [::1]:%s\r\n\r\n' "$port" >&3
  read -r -t 10 line <&3
  [[ $line == "HTTP/1."*" 200 "* ]] || fail "no page at ::1 but: $line"
  exec 3<&-
  kill -TERM "$pid"
  wait "$pid" || fail "status $? at ::1"
else
  echo "program_test.sh: this machine has no address ::1"
fi

# A second signal does not wait for a request.
start
begin_request
end() {
  kill -TERM "$pid" 2>/dev/null
  is_gone
}
eventually end || fail "the gateway waits in spite of a second signal"
exec 3<&-

[ "$failed" = 0 ] || exit 1
echo "program_test.sh: good"
