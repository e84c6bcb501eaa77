#!/usr/bin/env bash
# Usage: package.sh BUILD-TREE DIST
# Packs what a release build tree has built into the folder DIST:
#   tav-VERSION-win64.zip, tav.VERSION.nupkg, and for each a file .sha256
# The same files give the same bytes: entries are sorted and have the time stamp SOURCE_DATE_EPOCH,
# by default the time of the commit. Needs the packages zip and libxml2-utils.
set -euo pipefail
tree=$(realpath "${1:?usage: package.sh BUILD-TREE DIST}")
mkdir -p "${2:?usage: package.sh BUILD-TREE DIST}"
dist=$(realpath "$2")
root=$(cd "$(dirname "$0")/../.." && pwd)
export LC_ALL=C TZ=UTC

die() {
  echo "package.sh: $*" >&2
  exit 1
}

version=$(sed -n 's/^CMAKE_PROJECT_VERSION:STATIC=//p' "$tree/CMakeCache.txt")
[ -n "$version" ] || die "$tree has no version"
epoch=${SOURCE_DATE_EPOCH:-$(git -C "$root" log -1 --format=%ct 2>/dev/null)} ||
  die "set SOURCE_DATE_EPOCH: this folder has no commit"
name=tav-$version-win64

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
release=$work/$name
cmake --install "$tree" --prefix "$release" >"$work/log" || die "$(cat "$work/log")"
mv "$release"/share/doc/tav/* "$release/"
rm -r "$release/share"
for file in bin/{tav.dll,gateway.exe,tavcat.exe,minimal_host.exe} symbols/tav.dll.debug; do
  [ -e "$release/$file" ] || die "$tree has not built $file"
done

# The DLL names its symbol file, so that debuggers find it, and has its checksum.
x86_64-w64-mingw32-objcopy -p "--add-gnu-debuglink=$release/symbols/tav.dll.debug" \
  "$release/bin/tav.dll"

# Names of this machine's folders would differ on another.
for folder in "$root" "$tree" "${HOME:-/root}/" /tmp/; do
  found=$(grep -rlaF -- "$folder" "$release/bin" "$release/symbols" "$release/lib") || continue
  die "the folder $folder is named in ${found//$release\//}"
done

# pack FOLDER ARCHIVE [ENTRY...]: the entries come first, then the rest in order.
pack() {
  local folder=$1 archive=$2
  shift 2
  find "$folder" -type d -exec chmod 755 {} +
  find "$folder" -type f -exec chmod 644 {} +
  find "$folder" -exec touch -d "@$epoch" {} +
  rm -f "$archive"
  (cd "$folder" && { [ $# -eq 0 ] || printf '%s\n' "$@"; find . -type f | sed 's|^\./||' | sort; } |
    awk '!seen[$0]++' | zip -q -X -9 -@ "$archive")
  (cd "$(dirname "$archive")" && sha256sum "${archive##*/}" >"${archive##*/}.sha256")
  echo "   ${archive##*/}: $(stat -c %s "$archive") bytes, sha256 $(cut -d' ' -f1 "$archive.sha256")"
}

(umask 022 && mkdir "$work/zip" && cp -R "$release" "$work/zip/")
pack "$work/zip" "$dist/$name.zip"

"$root/packaging/nuget/layout.sh" "$release" "$version" "$work/nuget" ||
  die "the NuGet package cannot be laid out"
pack "$work/nuget" "$dist/tav.$version.nupkg" '[Content_Types].xml' _rels/.rels tav.nuspec
