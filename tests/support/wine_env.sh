# shellcheck shell=bash
# Sourced, not run: the environment in which this project uses Wine. A prefix of its own (695 MB),
# no menus, no debugger window, no messages, no display.
# TAV_WINEPREFIX chooses another prefix than build/wine.
WINEPREFIX=${TAV_WINEPREFIX:-$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)/build/wine}
WINEARCH=win64
WINEDEBUG=${WINEDEBUG:--all}
WINEDLLOVERRIDES='mscoree,mshtml=;winemenubuilder.exe,winedbg.exe=d'
export WINEPREFIX WINEARCH WINEDEBUG WINEDLLOVERRIDES
unset DISPLAY
