#!/usr/bin/env bash
# Usage: symbols.sh RELEASE
# Checks that the symbol file of an unpacked release belongs to its tav.dll, and that an address in the
# DLL leads to a function and a line of the sources.
set -euo pipefail
dll=${1:?usage: symbols.sh RELEASE}/bin/tav.dll
symbols=$1/symbols/tav.dll.debug
triplet=x86_64-w64-mingw32
fail() {
  echo "symbols.sh: $*" >&2
  exit 1
}

names=$($triplet-nm "$dll" 2>&1 || true)
[[ $names == *"no symbols"* ]] || fail "tav.dll has symbols"
# The DLL has the file's name and its checksum, the CRC-32 that gzip writes before the length.
link=$(mktemp)
trap 'rm -f "$link" "$link.dll"' EXIT
$triplet-objcopy --dump-section ".gnu_debuglink=$link" "$dll" "$link.dll"
[ "$(head -c 13 "$link")" = tav.dll.debug ] || fail "tav.dll does not name its symbol file"
cmp -s <(tail -c +17 "$link" | head -c 4) <(gzip -c "$symbols" | tail -c 8 | head -c 4) ||
  fail "the symbol file is not that of tav.dll"

headers=$($triplet-objdump -p "$dll")
base=$(sed -nE 's/^ImageBase\s+([0-9a-f]+)$/\1/p' <<<"$headers")
offset=$(sed -nE 's/^\s*\[ *0\] \+base\[ *1\] +([0-9a-f]+) Export RVA$/\1/p' <<<"$headers")
[ -n "$base" ] && [ -n "$offset" ] || fail "the address of TavLoader is not found"
found=$($triplet-addr2line -f -e "$symbols" "$(printf '0x%x' $((16#$base + 16#$offset)))" | xargs)
[[ $found =~ ^TavLoader\ .*src/api/loader\.cpp:[0-9]+ ]] || fail "TavLoader is found as: $found"
echo "$found"
