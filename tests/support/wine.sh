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
[ -p /dev/stdout ] || [ -p /dev/stderr ] || exec wine "$@"

# The process that Wine starts for a desktop inherits the output of the program that first asks for
# one, and would keep a reader of that pipe waiting long after the program has ended.
folder=$(mktemp -d) || exit 1
show() {
  cat "$folder/out"
  cat "$folder/err" >&2
  rm -rf "$folder"
}
trap show EXIT
wine "$@" >"$folder/out" 2>"$folder/err"
