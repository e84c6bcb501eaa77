#!/usr/bin/env bash
# Usage: links.sh FOLDER
# Checks that the documents of a release link only to files that are in it.
set -euo pipefail
cd "${1:?usage: links.sh FOLDER}"
failed=0
while IFS=: read -r document target; do
  target=${target#](}
  target=${target%%[)#]*}
  case $target in
    '' | http:* | https:*) continue ;;
  esac
  if ! [ -e "$(dirname "$document")/$target" ]; then
    echo "$document links to $target" >&2
    failed=1
  fi
done < <(grep -roE '\]\([^)]*\)' --include='*.md' .)
exit $failed
