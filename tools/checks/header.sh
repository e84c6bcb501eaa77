#!/usr/bin/env bash
# Usage: header.sh
# Compiles include/tav/tav.h alone, as C99 and as C++ of several ages, for Windows and for here.
set -euo pipefail
cd "$(dirname "$0")/../.."
flags=(-Iinclude -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror -fsyntax-only)

compile() { # COMPILER STANDARD LANGUAGE
  echo '#include <tav/tav.h>' | "$1" -x "$3" -std="$2" "${flags[@]}" -
}

compilers=0
for compiler in x86_64-w64-mingw32-gcc-posix gcc clang-19; do
  command -v "$compiler" >/dev/null || continue
  compilers=$((compilers + 1))
  for standard in c99 c11; do compile "$compiler" $standard c; done
  for standard in c++11 c++17 c++20; do compile "$compiler" $standard c++; done
done
[ $compilers -gt 0 ] || { echo "header.sh: no compiler found" >&2; exit 1; }
echo "   tav.h compiles alone with $compilers compilers"
