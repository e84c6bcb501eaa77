#!/usr/bin/env bash
# Usage: with_certificates.sh GATEWAY COMMAND [ARGUMENT...]
# Runs the command with a plain local gateway, as with_gateway.sh does, and with four of HTTPS.
# TAV_TEST_GATEWAY_<certificate> is the URL of each; all certificates but one are faulty:
#   good         for localhost, issued by the authority in TAV_TEST_AUTHORITY, a DER file
#   self_signed  for localhost, issued by itself
#   expired      as good, but ended yesterday
#   wrong_name   as good, but for another host
# The keys are new and are deleted at the end.
set -u
gateway=${1:?usage: with_certificates.sh GATEWAY COMMAND [ARGUMENT...]}
shift
support=$(cd "$(dirname "$0")/../support" && pwd)
folder=$(mktemp -d) || exit 2
trap 'rm -rf "$folder"' EXIT

# Not elliptic: Wine 8 rejects ECDSA signatures with a leading zero byte, one of sixty.
new_key=(-newkey rsa:2048 -nodes)

# issue CERTIFICATE HOST DAYS: valid for so many days; for -1 it ended yesterday.
issue() {
  openssl req -new -key server.key -subj "/CN=$2" -out "$1.csr" &&
    printf 'subjectAltName=DNS:%s\nextendedKeyUsage=serverAuth\n' "$2" >"$1.ext" &&
    openssl x509 -req -in "$1.csr" -CA authority.pem -CAkey authority.key -CAcreateserial \
      -days "$3" -extfile "$1.ext" -out "$1.pem"
}

create_certificates() (
  cd "$folder" &&
    openssl req -x509 "${new_key[@]}" -keyout authority.key -days 30 \
      -subj "/CN=Tav test authority" -addext keyUsage=critical,keyCertSign -out authority.pem &&
    openssl x509 -in authority.pem -outform DER -out authority.der &&
    openssl req -x509 "${new_key[@]}" -keyout server.key -subj /CN=localhost -days 30 \
      -addext subjectAltName=DNS:localhost -out self_signed.pem &&
    issue good localhost 30 && issue expired localhost -1 && issue wrong_name elsewhere.invalid 30
)

create_certificates >"$folder/log" 2>&1 || {
  cat "$folder/log" >&2
  exit 2
}
export TAV_TEST_AUTHORITY=$folder/authority.der
# Each step wraps the command so far in one more gateway; the plain one is the innermost.
command=("$support/with_gateway.sh" "$gateway" -- "$@")
for certificate in good self_signed expired wrong_name; do
  # The certificates are for a name, not for an address.
  # shellcheck disable=SC2016 # the inner shell expands these
  rename='export "TAV_TEST_GATEWAY_$0=${TAV_TEST_GATEWAY/127.0.0.1/localhost}"; "$@"'
  command=("$support/with_gateway.sh" "$gateway" --https --certificate "$folder/$certificate.pem"
    --key "$folder/server.key" -- bash -c "$rename" "$certificate" "${command[@]}")
done
"${command[@]}"
