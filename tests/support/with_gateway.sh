#!/usr/bin/env bash
# Usage: with_gateway.sh GATEWAY [OPTION...] -- COMMAND [ARGUMENT...]
# Starts the local gateway on a free loopback port, runs the command with TAV_TEST_GATEWAY set to
# the gateway's URL, stops the gateway and returns the command's status.
set -u
gateway=${1:?usage: with_gateway.sh GATEWAY [OPTION...] -- COMMAND...}
shift
options=()
scheme=http
while [ $# -gt 0 ] && [ "$1" != -- ]; do
  [ "$1" = --https ] && scheme=https
  options+=("$1")
  shift
done
[ $# -ge 2 ] || { echo "with_gateway.sh: no command" >&2; exit 2; }
shift
[ -x "$gateway" ] || { echo "with_gateway.sh: no gateway at $gateway (preset native builds it)" >&2; exit 2; }

folder=$(mktemp -d)
"$gateway" --port 0 --port-file "$folder/port" "${options[@]}" >"$folder/log" 2>&1 </dev/null &
pid=$!
finish() {
  kill "$pid" 2>/dev/null
  wait "$pid" 2>/dev/null
  rm -rf "$folder"
}
trap finish EXIT
trap 'exit 143' TERM INT

# The port file appears when the gateway listens. Waits up to thirty seconds: under Wine on a busy
# machine the start takes long.
for _ in $(seq 1500); do
  [ -s "$folder/port" ] && break
  kill -0 "$pid" 2>/dev/null || break
  sleep 0.02
done
if ! [ -s "$folder/port" ]; then
  echo "with_gateway.sh: the gateway did not start" >&2
  cat "$folder/log" >&2
  exit 2
fi

TAV_TEST_GATEWAY="$scheme://127.0.0.1:$(cat "$folder/port")/" "$@"
status=$?
if ! kill -0 "$pid" 2>/dev/null; then
  echo "with_gateway.sh: the gateway died while the command ran" >&2
  cat "$folder/log" >&2
  [ $status -ne 0 ] || status=2
fi
exit $status
