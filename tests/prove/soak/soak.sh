#!/usr/bin/env bash
# Usage: soak.sh SOAK SECONDS GATEWAY HOST
# Runs soak in a folder of its own, which stays if it fails.
set -euo pipefail
work=$(mktemp -d)
"$@" "$work" || {
  printf 'left in %s\n' "$work" >&2
  exit 1
}
rm -rf "$work"
