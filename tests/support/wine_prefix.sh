#!/usr/bin/env bash
# Usage: wine_prefix.sh start | stop
#
# start: makes the project's Wine prefix if there is none (10 s) and starts its server if none runs,
#        detached from the caller's input and output: services that inherited them would keep a
#        pipe open for ever after the program that was run has ended. The server goes away half a
#        minute after its last client. Prints "started" when it started one.
# stop:  ends the prefix's server and everything in it, and waits for that.
set -u
. "$(dirname "$0")/wine_env.sh"

quiet() { "$@" >/dev/null 2>&1 </dev/null 9>&-; }

start() {
  mkdir -p "$WINEPREFIX" || return 1
  exec 9>"$WINEPREFIX/.tav-lock"
  flock 9
  # A server that is already there makes a second one exit with a status other than 0.
  quiet wineserver -p30 || return 0
  if [ ! -e "$WINEPREFIX/.tav-ready" ]; then
    quiet wine wineboot --init || return 1
    # Programs see Windows 10, the oldest system that the library is meant for.
    quiet wine reg add 'HKCU\Software\Wine' /v Version /d win10 /f || return 1
    touch "$WINEPREFIX/.tav-ready"
  else
    quiet wine cmd /c exit || return 1
  fi
  echo started
}

case ${1:-} in
  start) start ;;
  stop)
    [ -d "$WINEPREFIX" ] || exit 0
    quiet wineserver -k
    quiet wineserver -w
    ;;
  *)
    sed -n '2,/^set/{/^#/p}' "$0" >&2
    exit 2
    ;;
esac
