#!/usr/bin/env bash
# Usage: lint.sh [FILE...]
# Checks the format, the rules of the tree, the scripts and, with clang-tidy, the given files or
# all. Needs the configured trees build/release (for the library and Windows programs) and
# build/native (for the tools). Runs all checks before it fails.
set -uo pipefail
cd "$(dirname "$0")/../.." || exit
jobs=$(nproc)
failed=0
stage() {
  local name=$1 begin=$SECONDS
  shift
  if "$@"; then
    echo "   $name: good ($((SECONDS - begin)) s)"
  else
    echo "   $name: NOT good ($((SECONDS - begin)) s)" >&2
    failed=1
  fi
}

# Existing files of this tree, new ones included.
files() {
  git ls-files --cached --others --exclude-standard -- "$@" |
    while IFS= read -r file; do [ ! -e "$file" ] || printf '%s\n' "$file"; done | sort -u
}

check_format() {
  files '*.c' '*.cpp' '*.h' '*.hpp' | xargs -d '\n' -P "$jobs" -n 20 clang-format-19 --dry-run -Werror
}

check_scripts() {
  files '*.sh' run .ci/run | xargs -d '\n' shellcheck
}

# The syntax of the page's modules and of its tests.
check_modules() {
  local file failed=0
  while IFS= read -r file; do
    node --check --input-type=module <"$file" || { echo "$file" >&2; failed=1; }
  done < <(files '*.js' '*.mjs')
  return "$failed"
}

# tidy BUILD-TREE EXTRA-ARGUMENT... : reads file names, skips those the tree does not compile. clang
# does not know GCC's options for link-time optimisation and cannot read its precompiled headers.
# Without those, it also reports headers that a source fails to include.
tidy() {
  local tree=build/lint/$1 extra=() argument
  mkdir -p "$tree"
  sed -E 's/ -f(fat-lto-objects|lto(=[a-z]+)?)\b//g; s/ -Winvalid-pch\b//; s/ -include [^ ]*cmake_pch\.hxx//' \
    "build/$1/compile_commands.json" >"$tree/compile_commands.json"
  shift
  for argument in "$@"; do extra+=("--extra-arg-before=$argument"); done
  while IFS= read -r file; do
    ! grep -qF "\"file\": \"$PWD/$file\"" "$tree/compile_commands.json" || printf '%s\n' "$file"
  done | xargs -r -d '\n' -P "$jobs" -n 1 tools/checks/tidy_one.sh -p "$tree" "${extra[@]}"
}

# With the cross compiler's own headers.
tidy_windows() {
  local include
  include=$(dirname "$(x86_64-w64-mingw32-g++-posix -print-libgcc-file-name)")/include/c++
  tidy release --target=x86_64-w64-windows-gnu -nostdinc++ "-isystem$include" \
    "-isystem$include/x86_64-w64-mingw32" "-isystem$include/backward"
}
tidy_native() { tidy native; }

# choose PATHSPEC...: all matching files, or those that are also named on the command line.
choose() {
  if [ ${#named[@]} -eq 0 ]; then
    files "$@"
  else
    files "$@" | grep -Fx "$(printf '%s\n' "${named[@]}")"
  fi
}

named=("$@")
stage "format" check_format
stage "rules of the tree" tools/checks/rules.sh
stage "shell scripts" check_scripts
stage "JavaScript modules" check_modules
stage "clang-tidy, library and Windows programs" tidy_windows < <(
  choose 'src/*.cpp' 'examples/*.c' 'examples/*.cpp' 'bench/*.cpp' 'tools/command_line/*.cpp' \
    'tools/gateway/windows/*.cpp' tools/gateway/no_tls.cpp)
stage "clang-tidy, tools, the POSIX side and the Qt example" tidy_native < <(
  choose 'tools/*.cpp' 'src/platform/posix/*.cpp' 'examples/qt/*.cpp')
exit $failed
