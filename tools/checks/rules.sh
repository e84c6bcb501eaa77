#!/usr/bin/env bash
# Usage: rules.sh
# Rules of the tree that no compiler knows. ARCHITECTURE.md gives the reasons.
set -euo pipefail
cd "$(dirname "$0")/../.."
failed=0

# complain TEXT LINES: a rule is broken where there are lines.
complain() {
  [ -n "$2" ] || return 0
  printf 'rules.sh: %s\n%s\n' "$1" "$2" >&2
  failed=1
}

search() { # PATTERN PATHSPEC...
  local pattern=$1
  shift
  git grep -nE --untracked "$pattern" -- "$@" || [ $? = 1 ]
}

complain "only src/platform/windows and src/dll know Windows" "$(search \
  '#[[:space:]]*include[[:space:]]*<(windows|winsock2?|ws2tcpip|winhttp|bcrypt|rpc|iphlpapi|wbem[a-z]*|objbase|oleauto)\.h>|#.*\b_?WIN(32|64)\b' \
  'src/*.h' 'src/*.cpp' ':!src/platform/windows' ':!src/dll')"

complain "these headers cost the DLL hundreds of kilobytes; src/platform has what is needed" \
  "$(search '#[[:space:]]*include[[:space:]]*<(iostream|fstream|sstream|ostream|istream|locale|regex|filesystem|thread|future|condition_variable)>' \
    'src/*.h' 'src/*.cpp')"

complain "thread_local costs a run-time of its own; src/platform/thread.h does it" \
  "$(search '^[^/]*\bthread_local\b' 'src/*.h' 'src/*.cpp')"

complain "references to JSON values are counted in src/util/json.h alone" \
  "$(search '\bjson_(decref|incref)\(' 'src/*.h' 'src/*.cpp' ':!src/util/json.h')"

headers=$(git ls-files --cached --others --exclude-standard -- 'src/*.h' 'tests/*.h' 'tools/*.h' \
  'examples/*.h' 'bench/*.h' | while read -r file; do [ ! -e "$file" ] || echo "$file"; done)
complain "headers begin with #pragma once" \
  "$(xargs -r grep -L '^#pragma once$' <<<"$headers" || true)"

# A lower room never includes a higher one.
rank() {
  case $1 in
    platform) echo 0 ;;
    util) echo 1 ;;
    model) echo 2 ;;
    streams | transport | storage | config) echo 3 ;;
    session) echo 4 ;;
    api) echo 5 ;;
    *) echo none ;;
  esac
}
upward=$(search '^#include "[a-z]+/' 'src/*.h' 'src/*.cpp' |
  sed -E 's|^src/([a-z]+)/([^:]*):([0-9]+):#include "([a-z]+)/(.*)"$|\1 \4 src/\1/\2:\3 includes \4/\5|' |
  while read -r from to where; do
    from=$(rank "$from")
    to=$(rank "$to")
    [ "$from" != none ] && [ "$to" != none ] && [ "$from" -ge "$to" ] || echo "$where"
  done)
complain "a lower room includes a higher one" "$upward"

[ $failed = 0 ] || exit 1
echo "   the rules of the tree hold"
