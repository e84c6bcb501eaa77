#!/usr/bin/env bash
# Each allocation of a life fails, and some of them with those that follow; one of so many once more
# under AddressSanitizer. The folders are in memory if possible: each cell writes 17 MiB.
set -euo pipefail
: "${TAV_NATIVE_BIN:?}" "${TAV_ASAN_BIN:?}"

[ ! -d /dev/shm ] || [ ! -w /dev/shm ] || export TMPDIR=/dev/shm

"$TAV_NATIVE_BIN/allocations" | tee native.txt
echo "under AddressSanitizer:"
"$TAV_ASAN_BIN/allocations" --every 7 | tee asan.txt
native=$(sed -n 's/^proved: //p' native.txt)
asan=$(sed -n 's/^proved: //p' asan.txt)
echo "proved: $native. Under AddressSanitizer: $asan"
