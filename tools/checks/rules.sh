#!/usr/bin/env bash
# Usage: rules.sh
# Checks rules of this tree that no compiler checks. ARCHITECTURE.md gives the reasons.
set -euo pipefail
cd "$(dirname "$0")/../.."
failed=0

# complain TEXT LINES: the lines are violations of a rule; none means it holds.
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

complain "only src/platform/windows and src/dll may use the Windows API" "$(search \
  '#[[:space:]]*include[[:space:]]*<(windows|winsock2?|ws2tcpip|winhttp|bcrypt|rpc|iphlpapi|wbem[a-z]*|objbase|oleauto)\.h>|#.*\b_?WIN(32|64)\b' \
  'src/*.h' 'src/*.cpp' ':!src/platform/windows' ':!src/dll')"

complain "these headers add hundreds of kilobytes to the DLL; use src/platform instead" \
  "$(search '#[[:space:]]*include[[:space:]]*<(iostream|fstream|sstream|ostream|istream|locale|regex|filesystem|thread|future|condition_variable)>' \
    'src/*.h' 'src/*.cpp')"

complain "msvcrt.dll, which formats text for the DLL, does not know these length modifiers" \
  "$(search '"[^"]*%[-+ #0-9.*]*(hh|j|z|t|L)[diouxXeEfgGaA]' 'src/*.h' 'src/*.cpp' ':!src/platform/posix')"

complain "thread_local needs a run-time of its own" \
  "$(search '^[^/]*\bthread_local\b' 'src/*.h' 'src/*.cpp')"

complain "only src/util/json.h may count references to JSON values" \
  "$(search '\bjson_(decref|incref)\(' 'src/*.h' 'src/*.cpp' ':!src/util/json.h')"

# Existing files, new ones included.
files() { # PATHSPEC...
  git ls-files --cached --others --exclude-standard -- "$@" |
    while IFS= read -r file; do [ ! -e "$file" ] || printf '%s\n' "$file"; done
}

complain "headers without #pragma once" "$(
  files 'src/*.h' 'tests/*.h' 'tools/*.h' 'examples/*.h' 'bench/*.h' |
    xargs -r -d '\n' grep -L '^#pragma once$' || true)"

# Layers of src/, lowest first. A layer includes headers of its own and of lower layers only.
# test_access is above api because it reads and sets the state that api holds (GetLibrary). src/dll is
# the DLL's entry file and outside the order.
layers=(platform util model streams journal transport cache storage machine config session api test_access)

unranked=$(files 'src/*/*' | cut -d / -f 2 | sort -u |
  grep -vxF "$(printf '%s\n' "${layers[@]}" dll)" || true)
complain "folders of src/ that have no rank among the layers" "$unranked"

# The name before the slash in each quoted include must be a layer, and no higher than the file's.
upward=$(search '^[[:space:]]*#[[:space:]]*include[[:space:]]*"' 'src/*.h' 'src/*.cpp' ':!src/dll' |
  awk -F : -v order="${layers[*]}" '
    BEGIN { for (n = split(order, names, " "); n > 0; n--) rank[names[n]] = n }
    {
      split($1, folders, "/")
      split($3, quoted, "\"")
      layer = quoted[2]
      sub(/\/.*/, "", layer)
      if (!(layer in rank) || rank[layer] > rank[folders[2]])
        print $1 ":" $2 " includes " quoted[2]
    }')
complain "a layer includes a higher one, or a header without its layer's name" "$upward"

# Each slot has an example, between two marks, and no example belongs to anything else than a slot,
# a class or a component's record. `./run docs` shows them.
unmarked=$(comm -3 \
  <(sed -nE '/"table": \[/,/^ \]/s/^   "name": "(\w+)",$/\1\n\1/p' bindings/tav.json | sort) \
  <(files 'docs/snippets/*.c' | xargs -r -d '\n' grep -hoE '^ *//! .*' | grep -oE '\w+' |
    grep -vx TavComponent_s | sort))
complain "slots of bindings/tav.json without an example in docs/snippets, or marks of no slot" \
  "$unmarked"

# What arrives at the gateway is hostile text: its page creates text nodes, never markup or code, and
# loads nothing from elsewhere. The namespace of SVG is a name, not an address.
complain "the gateway's page must not make markup or code out of text" "$(search \
  'innerHTML|outerHTML|insertAdjacentHTML|document\.write|DOMParser|createContextualFragment|srcdoc|\beval\(|new Function|setTimeout\(["'"'"'`]' \
  'tools/gateway/page/*.js' 'tools/gateway/page/*.html')"
complain "the gateway's page must not name another host, or have inline code or styles" "$(search \
  '(src|href|url|import|fetch)[^a-z]{1,3}https?:|<style|<script>|javascript:| on[a-z]+="| style="' \
  'tools/gateway/page/*.js' 'tools/gateway/page/*.html' 'tools/gateway/page/*.css')"

[ $failed = 0 ] || exit 1
echo "   all rules hold"
