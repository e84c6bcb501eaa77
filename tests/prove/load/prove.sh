#!/usr/bin/env bash
# A million events from eight threads, natively and through the DLL under Wine.
set -euo pipefail
here=$(dirname "$0")
export TAV_TEST_LIBRARY=$TAV_LIBRARY
"$here/load.sh" "$TAV_GATEWAY_PROGRAM" 8 125000 timeout 1200 "$TAV_NATIVE_BIN/prove/load_host" |
  tee native
"$here/load.sh" "$TAV_GATEWAY_PROGRAM" 8 125000 \
  timeout 1200 "$TAV_WINE" "$TAV_WINDOWS_BIN/prove/load_host.exe" | tee wine
printf 'proved: natively %s; under Wine %s\n' "$(head -n 1 native)" "$(head -n 1 wine)"
