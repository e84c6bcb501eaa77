#!/usr/bin/env bash
# Usage: run.sh PROGRAM.exe [ARGUMENT...]
# Runs a Windows program in the project's own Wine prefix, which is created on first use.
set -u
here=$(dirname "$0")
. "$here/env.sh"
"$here/prefix.sh" start >/dev/null || {
  echo "tools/wine/run.sh: no usable Wine prefix in $WINEPREFIX" >&2
  exit 1
}
[ -p /dev/stdout ] || [ -p /dev/stderr ] || exec "${wine[@]}" "$@"

# Wine's desktop process inherits the output of the program that first needs a desktop, and outlives
# that program. It must not hold a pipe open whose reader waits for its end.
folder=$(mktemp -d) || exit 1
show() {
  local status=$? silent=false
  [ $status = 0 ] || [ -s "$folder/out" ] || [ -s "$folder/err" ] || silent=true
  cat "$folder/out"
  cat "$folder/err" >&2
  rm -rf "$folder"
  # A program that Wine or a crash has ended may have printed nothing about it.
  if [ $status -gt 2 ] || $silent; then
    echo "tools/wine/run.sh: ${1##*/} ended with status $status" >&2
  fi
}
trap 'show "$1"' EXIT
"${wine[@]}" "$@" >"$folder/out" 2>"$folder/err"
