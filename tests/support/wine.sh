#!/usr/bin/env bash
# Usage: wine.sh PROGRAM.exe [ARGUMENT...]
# Runs a Windows program in the project's own Wine prefix, which is made on first use.
set -u
here=$(dirname "$0")
. "$here/wine_env.sh"
"$here/wine_prefix.sh" start >/dev/null || {
  echo "wine.sh: no usable Wine prefix in $WINEPREFIX" >&2
  exit 1
}
exec wine "$@"
