#!/usr/bin/env bash
# Usage: dll.sh TAV.DLL
# Checks a finished tav.dll from the outside: its one export, its imports, the
# version resource, the size, and that it has no time stamp.
set -euo pipefail
dll=${1:?usage: dll.sh TAV.DLL}
root=$(cd "$(dirname "$0")/../.." && pwd)
triplet=x86_64-w64-mingw32
size_limit=409600 # bytes, 400 KB; docs/benchmarks.md says what they are
# Every process has the first. What a host's thread need not wait for is loaded by the library's own
# threads (src/platform/windows/system_library.h).
allowed='kernel32 msvcrt'

failed=0
fail() {
  echo "dll.sh: $*" >&2
  failed=1
}

headers=$(TZ=UTC0 $triplet-objdump -p "$dll")

exports=$(awk '/Ordinal\/Name Pointer/{f=1;next} /^$/{f=0} f{print $NF}' <<<"$headers")
[ "$exports" = TavLoader ] || fail "exports are not TavLoader alone:"$'\n'"$exports"

imports=$(sed -nE 's/^[[:space:]]*DLL Name: (.*)\.dll$/\1/Ip' <<<"$headers" | tr '[:upper:]' '[:lower:]')
[ -n "$imports" ] || fail "no imports found"
for name in $imports; do
  [[ " $allowed " == *" $name "* ]] || fail "imports $name.dll"
done

# CMakeLists.txt, version.h and the version resource must agree.
version=$(sed -nE 's/^ *VERSION ([0-9.]+)$/\1/p' "$root/CMakeLists.txt")
[ -n "$version" ] || fail "no version found in CMakeLists.txt"
grep -qF "\"$version\"" "$root/src/util/version.h" || fail "src/util/version.h does not say $version"
resource=$($triplet-windres -i "$dll" -O rc)
IFS=. read -r major minor patch build <<<"$version"
words="$major, $minor, $patch, $((build & 0xFFFF))"
for line in "FILEVERSION $words" "PRODUCTVERSION $words" \
  "\"FileVersion\", \"$version\"" "\"ProductVersion\", \"$version\""; do
  grep -qF "$line" <<<"$resource" || fail "the version resource lacks: $line"
done

stamp=$(sed -nE 's/^Time\/Date[[:space:]]+(.*)$/\1/p' <<<"$headers" | head -n 1)
[[ $stamp == *1970* ]] || fail "carries a time stamp: $stamp"

size=$(stat -c %s "$dll")
[ "$size" -le $size_limit ] || fail "has $size bytes, the limit is $size_limit"

[ $failed = 0 ] || exit 1
echo "   $(basename "$dll"): $size bytes; exports $exports; imports $(xargs <<<"$imports"); version $version"
