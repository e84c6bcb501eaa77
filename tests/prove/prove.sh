#!/usr/bin/env bash
# Usage: prove.sh [CAMPAIGN...]
# Called by ./run prove, which sets the TAV_... variables. Runs the long form of each campaign, a folder
# beside this file with a prove.sh, and ends with a summary. A campaign prints what it does and ends with
# one line "proved: ..." that gives the numbers. Its output goes to build/prove/CAMPAIGN.log, and it may
# use the folder build/prove/CAMPAIGN.
# Exit status 0 if every campaign passed.
set -uo pipefail
: "${TAV_ROOT:?}" "${TAV_LIBRARY:?}" "${TAV_WINDOWS_BIN:?}" "${TAV_NATIVE_BIN:?}" "${TAV_ASAN_BIN:?}"
: "${TAV_GATEWAY_PROGRAM:?}" "${TAV_WINE:?}"

here=$TAV_ROOT/tests/prove
campaigns=("$@")
if [ $# -eq 0 ]; then
  for script in "$here"/*/prove.sh; do
    campaigns+=("$(basename "$(dirname "$script")")")
  done
fi
for name in "${campaigns[@]}"; do
  [ -x "$here/$name/prove.sh" ] || {
    printf 'no campaign "%s"\n' "$name" >&2
    exit 2
  }
done

summary=()
failed=0
for name in "${campaigns[@]}"; do
  work=$TAV_ROOT/build/prove/$name
  log=$work.log
  rm -rf "$work"
  mkdir -p "$work"
  printf '\n== %s\n' "$name"
  begin=$SECONDS
  (cd "$work" && exec "$here/$name/prove.sh") 2>&1 </dev/null | tee "$log"
  status=${PIPESTATUS[0]}
  proved=$(sed -n 's/^proved: //p' "$log" | tail -n 1)
  if [ "$status" -ne 0 ] || [ -z "$proved" ]; then
    failed=1
    proved="FAILED (status $status)${proved:+; $proved}"
  fi
  summary+=("$(printf '%-12s %5d s  %s' "$name" $((SECONDS - begin)) "$proved")")
done

printf '\n== summary\n'
printf '%s\n' "${summary[@]}"
exit "$failed"
