#!/usr/bin/env bash
# Usage: prefix.sh start | stop
#
# start: creates the project's Wine prefix if it does not exist (10 s) and starts its server if none
#        runs. The server is detached from the caller's input and output, because Wine's services
#        inherit them and would keep a pipe open after the program has ended. The server exits 30
#        seconds after its last client. Prints "started" if it started one.
# stop:  ends the prefix's server and all its programs, and waits until they are gone.
set -u
. "$(dirname "$0")/env.sh"

quiet() { "$@" >/dev/null 2>&1 </dev/null 9>&-; }

start() {
  mkdir -p "$WINEPREFIX" || return 1
  exec 9>"$WINEPREFIX/.tav-lock"
  flock 9
  # If a server already runs, a second one exits with a status other than 0.
  quiet wineserver -p30 || return 0
  if [ ! -e "$WINEPREFIX/.tav-ready-2" ]; then
    quiet "${wine[@]}" wineboot --init || return 1
    # Programs see Windows 10, the oldest supported system, and may have windows without a display.
    quiet "${wine[@]}" reg add 'HKCU\Software\Wine' /v Version /d win10 /f || return 1
    quiet "${wine[@]}" reg add 'HKCU\Software\Wine\Drivers' /v Graphics /d null /f || return 1
    touch "$WINEPREFIX/.tav-ready-2"
  else
    quiet "${wine[@]}" cmd /c exit || return 1
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
