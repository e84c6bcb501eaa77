#!/usr/bin/env bash
# Sends to servers that misbehave, natively and with the DLL, and delivers when they are good again.
set -uo pipefail
here=$(dirname "${BASH_SOURCE[0]}")
"$here/../cells/run_cells.sh" network
