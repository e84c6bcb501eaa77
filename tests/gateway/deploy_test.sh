#!/usr/bin/env bash
# Usage: deploy_test.sh GATEWAY
# Runs examples/deploy/nginx.conf, without privileges, in front of two gateways, one of which is
# killed; and lets systemd check its unit where it can.
set -u
. "$(dirname "$0")/../support/eventually.sh"
gateway=${1:?usage: deploy_test.sh GATEWAY}
deploy=$(cd "$(dirname "$0")/../../examples/deploy" && pwd)
folder=$(mktemp -d) || exit 2
pids=()
PATH=$PATH:/usr/sbin
finish() {
  for pid in "${pids[@]}"; do kill -9 "$pid" 2>/dev/null; done
  wait 2>/dev/null
  rm -rf "$folder"
}
trap finish EXIT

die() {
  printf 'deploy_test.sh: %s\n' "$*" >&2
  cat "$folder"/*.log >&2
  exit 1
}

for i in 1 2; do
  "$gateway" --port 0 --port-file "$folder/port$i" --page-port 0 --page-port-file "$folder/page$i" \
    >"$folder/gateway$i.log" 2>&1 </dev/null &
  pids+=($!)
done
for i in 1 2; do
  eventually test -s "$folder/port$i" || die "gateway $i does not start"
done

openssl req -x509 -newkey rsa:2048 -nodes -keyout "$folder/gateway.key" -out "$folder/gateway.pem" \
  -days 2 -subj /CN=gateway.example >"$folder/openssl.log" 2>&1 || die "no certificate"
# What an unprivileged nginx needs, a socket instead of the port, and the gateways' ports.
temporary=
for kind in client_body proxy fastcgi uwsgi scgi; do
  temporary+="  ${kind}_temp_path $folder/$kind;\n"
done
sed -e "s|^worker_processes auto;|daemon off;\nmaster_process off;\npid $folder/pid;|" \
  -e "s|^http {|http {\n$temporary|" -e "s|listen 8443 ssl|listen unix:$folder/socket ssl|" \
  -e "s|127.0.0.1:8080|127.0.0.1:$(cat "$folder/port1")|" \
  -e "s|127.0.0.1:8082|127.0.0.1:$(cat "$folder/port2")|" "$deploy/nginx.conf" >"$folder/nginx.conf"
nginx -p "$folder/" -e "$folder/nginx.log" -c "$folder/nginx.conf" >"$folder/nginx.out" 2>&1 </dev/null &
pids+=($!)

request() { # PATH [CURL-ARGUMENT...]: prints the status
  curl -sk --max-time 20 -o /dev/null -w '%{http_code}' --unix-socket "$folder/socket" \
    "${@:2}" "https://gateway.example$1"
}
answers() { [ "$(request /)" = 200 ]; }
eventually answers || die "nginx does not answer"

records() { # GATEWAY-NUMBER
  curl -s --max-time 20 "http://127.0.0.1:$(cat "$folder/page$1")/api/summary" |
    sed 's/.*"records":\([0-9]*\).*/\1/'
}
post() { # NUMBER: a record that differs from all others
  [ "$(request /tavgateway/ -H 'Content-Type: application/json; charset=utf-8' -d "{\"n\":$1}")" = 200 ]
}

for n in $(seq 10); do post "$n" || die "record $n is refused"; done
sum=$(($(records 1) + $(records 2)))
[ "$sum" = 10 ] || die "$sum records have arrived instead of 10"
[ "$(request '/configserver/?N=a&V=1&P=x')" = 200 ] || die "the settings are refused"
[ "$(request /api/summary)" = 404 ] || die "the API can be reached through nginx"

before=$(records 2)
{
  kill -9 "${pids[0]}"
  wait "${pids[0]}"
} 2>/dev/null
for n in $(seq 11 30); do post "$n" || die "record $n is refused after a gateway's death"; done
[ $(($(records 2) - before)) = 20 ] || die "the other gateway has not received 20 records"

if command -v systemd-analyze >/dev/null; then
  sed "s|/usr/local/bin/gateway|$gateway|" "$deploy/tav-gateway.service" >"$folder/tav-gateway.service"
  systemd-analyze verify --man=no "$folder/tav-gateway.service" >"$folder/systemd.log" 2>&1 ||
    die "systemd rejects the unit"
fi
echo "deploy_test.sh: good"
