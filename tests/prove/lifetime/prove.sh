#!/usr/bin/env bash
# Ends the library in each state in each way, natively and as the DLL, and delivers the rest.
set -uo pipefail
here=$(dirname "${BASH_SOURCE[0]}")
"$here/../cells/run_cells.sh" lifetime
