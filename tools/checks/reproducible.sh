#!/usr/bin/env bash
# Usage: reproducible.sh TAV.DLL
#        reproducible.sh --release ZIP
# Builds from a copy of the sources in another folder and compares the bytes: tav.dll by the steps of
# the port for vcpkg, which are tested thereby, or a whole release (some minutes).
set -euo pipefail
release=
if [ "${1:-}" = --release ]; then
  release=yes
  shift
fi
first=$(realpath "${1:?usage: reproducible.sh TAV.DLL, or reproducible.sh --release ZIP}")
cd "$(dirname "$0")/../.."
deps=$PWD/build/deps/mingw
SOURCE_DATE_EPOCH=${SOURCE_DATE_EPOCH:-$(git log -1 --format=%ct)}
export SOURCE_DATE_EPOCH

copy=$(mktemp -d)
trap 'rm -rf "$copy"' EXIT
git ls-files -z --cached --others --exclude-standard |
  while IFS= read -r -d '' file; do [ ! -e "$file" ] || printf '%s\0' "$file"; done |
  tar c --null -T - | tar x -C "$copy"
cd "$copy"
build() {
  if [ -z "$release" ]; then
    cmake -DWORK="$copy/work" -DDEPS="$deps" -P tests/package/port.cmake &&
      second=work/packages/tav/bin/tav.dll
  else
    cmake --preset release -DTAV_DEPS_PREFIX="$deps" -DTAV_BUILD_TESTS=OFF &&
      cmake --build build/release -j "$(nproc)" --target package_contents &&
      tools/package/package.sh build/release dist &&
      second=dist/${first##*/}
  fi
}
build >log 2>&1 || {
  cat log >&2
  exit 1
}
if ! cmp "$first" "$second"; then
  echo "reproducible.sh: the same sources give another ${first##*/} in another folder" >&2
  exit 1
fi
echo "   built twice with the same bytes: sha256 $(sha256sum <"$first" | cut -d' ' -f1)"
