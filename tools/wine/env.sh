# shellcheck shell=bash
# Sourced by the scripts that use Wine. Sets up a prefix of the project's own (695 MB) without menus,
# debugger windows, messages or a display. The locale has UTF-8 because Wine otherwise cannot create
# files whose names are not ASCII.
# TAV_WINEPREFIX selects another prefix than build/wine.
WINEPREFIX=${TAV_WINEPREFIX:-$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)/build/wine}
WINEARCH=win64
WINEDEBUG=${WINEDEBUG:--all}
WINEDLLOVERRIDES='mscoree,mshtml=;winemenubuilder.exe,winedbg.exe=d'
LC_ALL=C.UTF-8
export WINEPREFIX WINEARCH WINEDEBUG WINEDLLOVERRIDES LC_ALL
unset DISPLAY

# wine's loader is linked 48 MB below an address that Wine needs. Linux puts the heap at a random
# place up to 1 GB behind the loader; once in some thousand starts it lies there, and the program ends
# with status 1 and no word. Containers may forbid to fix addresses.
wine=(wine)
# shellcheck disable=SC2034 # the scripts that source this use it
! setarch -R true 2>/dev/null || wine=(setarch -R wine)
