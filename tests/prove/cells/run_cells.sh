#!/usr/bin/env bash
# Usage: run_cells.sh CAMPAIGN
# The long form of a campaign of cells: natively, then with the DLL. Called by the campaign's prove.sh
# in its folder; ends with the line "proved: ...", which has the numbers of both.
set -uo pipefail
campaign=${1:?usage: run_cells.sh CAMPAIGN}
program=$TAV_NATIVE_BIN/${campaign}_cells
status=0

echo "natively:"
"$program" --jobs 4 --work native -- "$TAV_NATIVE_BIN/tests/prove_host" linked >native.log || status=1
cat native.log
echo "with the DLL:"
"$program" --jobs 4 --work windows --windows -- \
  "$TAV_WINE" "$TAV_WINDOWS_BIN/tests/prove_host.exe" "$TAV_LIBRARY" >windows.log || status=1
cat windows.log
printf 'proved: %s; %s\n' "$(sed -n 's/^proved: //p' native.log)" "$(sed -n 's/^proved: //p' windows.log)"
exit "$status"
