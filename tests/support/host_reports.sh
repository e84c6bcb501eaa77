#!/usr/bin/env bash
# Usage: host_reports.sh [--status N] EXPECTED -- COMMAND [ARGUMENT...]
# Runs a host with the local gateway at TAV_TEST_GATEWAY and an empty storage folder, and compares all
# events that arrived with the file EXPECTED. Fails if they differ, if a record is bad or doubled, or
# if the host's exit status is not N (default 0).
#
# A line of EXPECTED is
#     COUNT COMPONENT EVENT
# COMPONENT is NAME/VERSION, or - for events without a component. EVENT is the event as in the record,
# without time stamp and session; a * matches any text. The order of lines does not matter. Empty
# lines and lines that begin with # are ignored.
set -u
wantedStatus=0
if [ "${1:-}" = --status ]; then
  wantedStatus=$2
  shift 2
fi
expected=${1:?usage: host_reports.sh [--status N] EXPECTED -- COMMAND...}
[ "${2:-}" = -- ] && [ $# -ge 3 ] || { echo "host_reports.sh: no command" >&2; exit 2; }
shift 2
failed=0
complain() {
  printf 'host_reports.sh: %s\n' "$*" >&2
  failed=1
}

folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
trap 'exit 143' TERM INT
export TAV_GATEWAY=$TAV_TEST_GATEWAY TAV_CONFIGURATOR=${TAV_TEST_GATEWAY}configserver/
export LOCALAPPDATA=$folder

# Wine overwrites LOCALAPPDATA, except in processes that a Windows process starts.
windows_path() {
  local path=Z:$1
  printf '%s' "${path//\//\\}"
}
run_host() {
  case $1 in
    */tools/wine/run.sh)
      "$1" cmd /c "set LOCALAPPDATA=$(windows_path "$folder")&& $(windows_path "$2") ${*:3}"
      ;;
    *) "$@" ;;
  esac
}
run_host "$@"
status=$?
[ $status = "$wantedStatus" ] || complain "the host's status is $status, not $wantedStatus"
# Without files here, the host used another storage folder.
[ -d "$folder/Quendel/Tav" ] || complain "the host wrote nothing to its storage folder"

address=${TAV_TEST_GATEWAY#http://}
address=${address%/}
# Prints the body of the gateway's answer.
ask() {
  exec 3<>"/dev/tcp/${address%:*}/${address#*:}" || exit 2
  printf 'GET /api/%s HTTP/1.0\r\n\r\n' "$1" >&3
  sed '1,/^\r$/d' <&3
  exec 3>&-
}

summary=$(ask summary)
[[ $summary == *'"bad_records":0,"doubled_records":0,'* ]] || {
  complain "bad or doubled records: $summary"
  ask records >&2
}

# One line for each event.
record=1
arrived=()
while text=$(ask "records/$record/text") && [[ $text == '{"pn":'* ]]; do
  component=$(sed -nE 's|.*\],"can":"([^"]*)","cav":"([^"]*)"\}$|\1/\2|p' <<<"$text")
  mapfile -t -O "${#arrived[@]}" arrived < <(
    sed -nE 's/.*"rt":\[(.*)\](,"can".*)?\}$/\1/p' <<<"$text" |
      sed -E 's/\},\{("t":)/}\n{\1/g' |
      sed -E "s|^\{\"t\":\"[^\"]*\",\"s\":\"[^\"]*\",|${component:--} {|")
  record=$((record + 1))
done

count_of() { # GLOB
  local line glob=$1 count=0
  glob=${glob//\\/\\\\}
  glob=${glob//\[/\\[}
  glob=${glob//\]/\\]}
  glob=${glob//\?/\\?}
  for line in "${arrived[@]}"; do
    # shellcheck disable=SC2053 # a pattern
    [[ $line != $glob ]] || count=$((count + 1))
  done
  echo $count
}

total=0
while read -r count pattern; do
  [[ -n $count && $count != '#'* ]] || continue
  total=$((total + count))
  found=$(count_of "$pattern")
  [ "$found" = "$count" ] || complain "arrived $found times, not $count: $pattern"
done <"$expected"
[ ${#arrived[@]} = $total ] || complain "${#arrived[@]} events have arrived, not $total"

if [ $failed != 0 ]; then
  echo "All that has arrived:" >&2
  printf '%s\n' "${arrived[@]}" | sort | uniq -c >&2
  exit 1
fi
echo "$total events, as expected"
