#!/usr/bin/env bash
# TAV_SOAK_SECONDS: how long hosts come and go (default ten minutes; two hours are 7200).
set -euo pipefail
"$TAV_NATIVE_BIN/prove/soak" "${TAV_SOAK_SECONDS:-600}" "$TAV_GATEWAY_PROGRAM" \
  "$TAV_NATIVE_BIN/prove/soak_host" "$PWD/soak" | tee ledger
printf 'proved: %s s: %s\n' "${TAV_SOAK_SECONDS:-600}" "$(tail -n 1 ledger)"
