#!/usr/bin/env bash
# Usage: reproducible.sh TAV.DLL
# Builds the release DLL again from a copy of the sources in another folder and compares the bytes.
set -euo pipefail
first=$(realpath "${1:?usage: reproducible.sh TAV.DLL}")
cd "$(dirname "$0")/../.."
deps=$PWD/build/deps/mingw

copy=$(mktemp -d)
trap 'rm -rf "$copy"' EXIT
git ls-files -z --cached --others --exclude-standard |
  while IFS= read -r -d '' file; do [ ! -e "$file" ] || printf '%s\0' "$file"; done |
  tar c --null -T - | tar x -C "$copy"
cd "$copy"
cmake --preset release -DTAV_DEPS_PREFIX="$deps" -DTAV_BUILD_TESTS=OFF >log 2>&1 &&
  cmake --build build/release -j "$(nproc)" --target tav >>log 2>&1 || {
  cat log >&2
  exit 1
}
if ! cmp "$first" build/release/bin/tav.dll; then
  echo "reproducible.sh: the same sources give a different DLL in another folder" >&2
  exit 1
fi
echo "   built twice with the same bytes: sha256 $(sha256sum <"$first" | cut -d' ' -f1)"
