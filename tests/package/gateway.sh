#!/usr/bin/env bash
# Usage: TAV_PACKAGED_GATEWAY=GATEWAY.EXE gateway.sh OPTION...
# Runs the gateway of a release under Wine. It is one process, which a signal ends.
exec "$(dirname "$0")/../../tools/wine/run.sh" \
  "${TAV_PACKAGED_GATEWAY:?the path of gateway.exe}" "$@"
