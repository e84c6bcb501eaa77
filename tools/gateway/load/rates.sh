#!/usr/bin/env bash
# Usage: rates.sh FOLDER [OPTION...]
# Measures gateways over HTTP in one run, each with a new store: nginx that answers 200, which is the
# floor, then a gateway without a store, one with SQLite and, started by
# tests/support/with_clickhouse.sh, one with ClickHouse. FOLDER has the programs (build/native/bin);
# the options are those of `gateway_rates post`. The SQLite file is in the folder for temporary files.
set -euo pipefail
bin=${1:?usage: rates.sh FOLDER [OPTION...]}
shift
. "$(dirname "$0")/../../../tests/support/eventually.sh"
folder=$(mktemp -d)
pids=()
PATH=$PATH:/usr/sbin
finish() {
  for pid in "${pids[@]}"; do kill "$pid" 2>/dev/null || true; done
  wait
  rm -rf "$folder"
}
trap finish EXIT

die() {
  echo "rates.sh: $*" >&2
  exit 2
}

urls=("http://127.0.0.1:18099/")
{
  printf 'daemon off;\nmaster_process off;\npid pid;\nerror_log stderr crit;\n'
  printf 'events { worker_connections 4096; }\nhttp {\n  access_log off;\n'
  for kind in client_body proxy fastcgi uwsgi scgi; do printf '  %s_temp_path %s;\n' $kind $kind; done
  printf '  server { listen 127.0.0.1:18099; location / { return 200; } }\n}\n'
} >"$folder/nginx.conf"
nginx -p "$folder/" -e stderr -c nginx.conf &
pids+=($!)
eventually curl -s -o "$folder/answer" "${urls[0]}" || die "nginx does not answer"
kill -0 "${pids[0]}" || die "nginx has ended"

start() { # NAME OPTION...
  "$bin/gateway" --port 0 --port-file "$folder/$1" "${@:2}" >"$folder/$1.log" 2>&1 &
  pids+=($!)
  eventually test -s "$folder/$1" || die "a gateway does not start: $(cat "$folder/$1.log")"
  urls+=("http://127.0.0.1:$(cat "$folder/$1")/")
}
start memory
start sqlite --store "$folder/tav.db"
names="nginx, gateway in memory, with SQLite"
if [ -n "${TAV_TEST_CLICKHOUSE-}" ]; then
  start clickhouse --store "$TAV_TEST_CLICKHOUSE"
  names+=", with ClickHouse"
fi
echo "In this order: $names"
"$bin/gateway_rates" post "$@" "${urls[@]}"
