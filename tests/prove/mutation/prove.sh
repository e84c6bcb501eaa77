#!/usr/bin/env bash
# Puts the faults of faults.txt into a copy of the sources, one at a time, and runs the test programs
# that must notice. A fault that no test notices fails the campaign. About a minute for each fault.
#
# faults.txt has five lines for each fault and an empty one: what is wrong, the file, the text to
# replace, which occurs in the file at least once, its replacement, and the test programs. All
# occurrences are replaced. "tsan:" before a program means the build for ThreadSanitizer.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
tree=$PWD/tree
mkdir -p "$tree"
(cd "$TAV_ROOT" && git ls-files -z --cached --others --exclude-standard | xargs -0 cp --parents -t "$tree")
cd "$tree"
mapfile -t lines <"$here/faults.txt"

preset_of() { case $1 in tsan:*) echo tsan ;; *) echo native ;; esac; }
bin_of() { echo "build/$(preset_of "$1")/bin"; }

build() {
  local program=${1#tsan:}
  cmake --build "build/$(preset_of "$1")" -j "$(nproc)" --target "$program" >>../build.log 2>&1
}

run_program() {
  local program=${1#tsan:} bin
  bin=$(bin_of "$1")
  case $program in
    system_test | durability_test)
      timeout 300 tests/support/with_gateway.sh "$bin/gateway" -- "$bin/$program" --gtest_brief=1
      ;;
    *) timeout 300 "$bin/tests/$program" --gtest_brief=1 ;;
  esac
}

# Whether every program passes, without a fault.
cmake --preset native >../build.log
cmake --preset tsan >>../build.log
for ((i = 0; i < ${#lines[@]}; i += 6)); do
  tr " " "\n" <<<"${lines[i + 4]}"
done | sort -u >../programs
build gateway
while read -r program; do
  build "$program"
  run_program "$program" >"../$program.log" 2>&1 </dev/null || {
    printf '%s fails without a fault\n' "$program"
    exit 1
  }
done <../programs

noticed=0 unnoticed=0
for ((i = 0; i < ${#lines[@]}; i += 6)); do
  what=${lines[i]} file=${lines[i + 1]} programs=${lines[i + 4]}
  cp "$file" ../original
  OLD=${lines[i + 2]} NEW=${lines[i + 3]} perl -0pi -e 's/\Q$ENV{OLD}\E/$ENV{NEW}/g' "$file"
  if cmp -s "$file" ../original; then
    printf 'STALE      %s: the text is not in %s\n' "$what" "$file"
    unnoticed=$((unnoticed + 1))
    continue
  fi
  by=
  for program in $programs; do
    build "$program" || {
      by="does not compile"
      break
    }
    run_program "$program" >../run.log 2>&1 </dev/null || {
      by="$program: $(grep -c "^\[  FAILED  \] .*ms)$" ../run.log || true) cases"
      break
    }
  done
  cp ../original "$file"
  case $by in
    "" | "does not compile")
      printf 'UNNOTICED  %s (%s)\n' "$what" "${by:-$programs pass}"
      unnoticed=$((unnoticed + 1))
      ;;
    *)
      printf 'noticed    %s (%s)\n' "$what" "$by"
      noticed=$((noticed + 1))
      ;;
  esac
done
printf 'proved: %d faults put in, %d noticed\n' $((noticed + unnoticed)) "$noticed"
[ "$unnoticed" -eq 0 ]
