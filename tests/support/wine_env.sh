# shellcheck shell=bash
# Sourced, not run: the environment in which this project uses Wine. A prefix of its own (695 MB),
# no menus, no debugger window, no messages, no display; and UTF-8 file names, since in a locale
# without them Wine cannot make a file whose name is not ASCII.
# TAV_WINEPREFIX chooses another prefix than build/wine.
WINEPREFIX=${TAV_WINEPREFIX:-$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)/build/wine}
WINEARCH=win64
WINEDEBUG=${WINEDEBUG:--all}
WINEDLLOVERRIDES='mscoree,mshtml=;winemenubuilder.exe,winedbg.exe=d'
LC_ALL=C.UTF-8
export WINEPREFIX WINEARCH WINEDEBUG WINEDLLOVERRIDES LC_ALL
unset DISPLAY
