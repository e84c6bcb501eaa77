#!/usr/bin/env bash
# Usage: run.sh GATEWAY FOLDER [--store STORE] [--pictures FOLDER] [--long] [JOURNEY...]
# Runs the journeys through the gateway's page in a headless Chromium. FOLDER receives the driver,
# playwright-core, by npm, and the gateways' files. STORE is a URL of ClickHouse, an empty database,
# instead of an SQLite file. With --pictures each view's picture is written;
# --long adds a journey through a million events. Names choose journeys.
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
gateway=${1:?usage: run.sh GATEWAY FOLDER [OPTION...]}
folder=${2:?usage: run.sh GATEWAY FOLDER [OPTION...]}
shift 2

die() {
  echo "run.sh: $*" >&2
  exit 2
}

[ -x "$gateway" ] || die "no gateway at $gateway (preset native builds it)"
for program in node npm; do
  command -v "$program" >/dev/null || die "$program is missing; cmake/deps.sh web installs it"
done
[ "$(node -p 'process.versions.node.split(".")[0] >= 18')" = true ] || die "node 18 or newer is needed"
browser=$(command -v chromium-headless-shell || command -v chromium) ||
  die "Chromium is missing; cmake/deps.sh web installs it"

mkdir -p "$folder"
folder=$(cd "$folder" && pwd)
# npm writes this file last, so an interrupted installation is repeated.
if [ ! "$folder/node_modules/.package-lock.json" -nt "$here/package-lock.json" ]; then
  cp "$here/package.json" "$here/package-lock.json" "$here/.npmrc" "$folder/"
  npm ci --prefix "$folder" --no-audit --no-fund --ignore-scripts >"$folder/npm.log" 2>&1 || {
    cat "$folder/npm.log" >&2
    die "npm could not install playwright-core, which the browser tests drive Chromium with"
  }
fi
exec node "$here/main.mjs" --gateway "$gateway" --browser "$browser" --folder "$folder" "$@"
