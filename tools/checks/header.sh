#!/usr/bin/env bash
# Usage: header.sh
# Compiles each public header alone, for Windows and for this machine: tav.h as C99, C11 and three
# C++ standards, tav.hpp as C++17 and C++20, also with its templates instantiated, and that without
# exceptions and RTTI too. Compares the index of tav.h with its table.
set -euo pipefail
cd "$(dirname "$0")/../.."
flags=(-Iinclude -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror -fsyntax-only)

# "0 Initialize" and so on: the index in the first comment of tav.h, and the members of the table.
index=$(sed -n '/SLOTS BY TASK/,/RULES FOR ALL/p' include/tav/tav.h |
  grep -oE '\<[0-9]+ [A-Z][A-Za-z]+' | sort -n)
table=$(sed -n '/^typedef struct TavEntryTable/,/^} TavEntryTable/p' include/tav/tav.h |
  sed -n 's/.*(TAV_CALL\* \([A-Za-z]*\)).*/\1/p' | awk '{ print NR - 1, $0 }')
diff <(echo "$index") <(echo "$table") || {
  echo "header.sh: the index of tav.h (<) and the table (>) differ" >&2
  exit 1
}

# Every template of tav.hpp, with each kind of argument.
uses='#include <tav/tav.hpp>
#include <vector>
std::optional<std::string> Keep(std::string_view, std::string_view text) { return std::string(text); }
Tav::Host::Table Filtered(const Tav::Host::Table& tav) { return Tav::Host::FilterTexts<Keep>(tav); }
void Use(const Tav::Host::Table& tav, const std::vector<std::string>& texts, long long number) {
  tav.NewEvent("E").Add("n", number).Add("n", 1u).Add("n", 0).Add("n", 1.5f).Add("n", "t").Log();
  Tav::Host::Event event = tav.NewErrorEvent(texts[0], std::string_view("m")).AddTraceItem("", "", "");
  event.Add("n", number).Add("n", texts[0]).Log();
  tav.AddProductInfo("n", number);
  tav.AddSessionEnvInfo("n", number);
  tav.AddProductInfoList("n", texts);
  tav.AddProductInfoList("n", {"a", texts[0]});
  tav.AddProductInfoMap("n", {{"a", texts[0]}, {"b", number}});
  tav.AddProductInfoMap("n", std::vector<Tav::Host::Member>{{"a", "b"}});
}'

# What must not compile, and the words of its error.
misuse='#include <tav/tav.hpp>
void Misuse(const Tav::Host::Table& tav) { tav.NewEvent("E").Add("n", true).Log(); }'
misuse_error='a bool or a character is neither a text nor a number'

compile() { # LANGUAGE STANDARD SOURCE COMPILER...
  local language=$1 standard=$2 source=$3
  shift 3
  "$@" -x "$language" -std="$standard" "${flags[@]}" - <<<"$source"
}

# clang that targets Windows uses the headers of the MinGW compiler.
mingw_clang() {
  local include
  include=$(dirname "$(x86_64-w64-mingw32-g++-posix -print-libgcc-file-name)")/include/c++
  clang-19 --target=x86_64-w64-windows-gnu -nostdinc++ "-isystem$include" \
    "-isystem$include/x86_64-w64-mingw32" "-isystem$include/backward" "$@"
}

compilers=0
for compiler in x86_64-w64-mingw32-gcc-posix mingw_clang gcc clang-19; do
  case $compiler in
    mingw_clang) needed=(clang-19 x86_64-w64-mingw32-g++-posix) ;;
    *) needed=("$compiler") ;;
  esac
  [ "$(command -v "${needed[@]}" | wc -l)" = ${#needed[@]} ] || continue
  compilers=$((compilers + 1))
  for standard in c99 c11; do compile c $standard '#include <tav/tav.h>' "$compiler"; done
  for standard in c++11 c++17 c++20; do
    compile c++ $standard '#include <tav/tav.h>' "$compiler"
  done
  for standard in c++17 c++20; do
    compile c++ $standard '#include <tav/tav.hpp>' "$compiler"
    compile c++ $standard "$uses" "$compiler"
    compile c++ $standard "$uses" "$compiler" -fno-exceptions -fno-rtti
    { compile c++ $standard "$misuse" "$compiler" 2>&1 || true; } | grep -q "$misuse_error" || {
      echo "header.sh: $compiler does not say what is wrong with a bool as a value" >&2
      exit 1
    }
  done
done
[ $compilers -gt 0 ] || { echo "header.sh: no compiler found" >&2; exit 1; }
echo "   tav.h and tav.hpp compile alone with $compilers compilers"
