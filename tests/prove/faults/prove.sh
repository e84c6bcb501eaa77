#!/usr/bin/env bash
# A fault at each operation on files, natively, and at one of so many under Wine, where a process takes
# longer to start. Natively the folders are in memory if possible: each cell writes 17 MiB.
set -euo pipefail
: "${TAV_NATIVE_BIN:?}" "${TAV_WINDOWS_BIN:?}" "${TAV_WINE:?}"

memory=${TMPDIR:-/tmp}
[ ! -d /dev/shm ] || [ ! -w /dev/shm ] || memory=/dev/shm

echo "natively:"
TMPDIR=$memory "$TAV_NATIVE_BIN/faults" | tee native.txt
echo "under Wine:"
"$TAV_WINE" "$TAV_WINDOWS_BIN/faults.exe" --every "${TAV_PROVE_WINE_EVERY:-31}" | tr -d '\r' |
  tee wine.txt
native=$(sed -n 's/^proved: //p' native.txt)
wine=$(sed -n 's/^proved: //p' wine.txt)
echo "proved: $native. Under Wine: $wine"
