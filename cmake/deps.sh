#!/usr/bin/env bash
# Usage: cmake/deps.sh GROUP...
# Installs the missing ones of the packages that a group needs on Debian 12.
#   cross     the MinGW-w64 compiler, zlib for it, and jansson built for it into build/deps/mingw
#   native    GCC and the libraries of the local gateway and of native builds
#   sanitize  clang and its sanitizers
#   wine      Wine, to run Windows programs
#   bindings  compilers and run-times for the tests of the bindings for other languages
#   lint      clang-format, clang-tidy, shellcheck
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
prefix=$root/build/deps/mingw

say() { printf '   %s\n' "$*"; }

packages_of() {
  case $1 in
    cross)
      echo cmake ninja-build googletest g++-mingw-w64-x86-64-posix libz-mingw-w64-dev
      [ -e "$prefix/.stamp" ] || echo dpkg-dev # unpacks jansson's sources
      ;;
    native)
      echo cmake ninja-build googletest g++ \
        libjansson-dev zlib1g-dev libssl-dev libcpp-httplib-dev openssl
      ;;
    sanitize) echo clang-19 libclang-rt-19-dev lld-19 llvm-19 ;; # llvm-19: names in reports
    wine) echo wine wine64 libgnutls30 ;;
    bindings)
      echo python3 mono-mcs rustc libstd-rust-dev-windows
      command -v npm >/dev/null || echo npm
      ;;
    lint) echo clang-format-19 clang-tidy-19 shellcheck ;;
    *)
      sed -n '2,/^set/{/^#/p}' "$0" >&2
      exit 2
      ;;
  esac
}

# Prints those of the given packages that are not installed.
missing() {
  local package
  for package in "$@"; do
    [ "$(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null)" = installed ] ||
      echo "$package"
  done
}

as_root() {
  if [ "$(id -u)" = 0 ]; then "$@"; else sudo "$@"; fi
}

install_packages() {
  local wanted
  mapfile -t wanted < <(missing "$@" | sort -u)
  [ ${#wanted[@]} -gt 0 ] || return 0
  say "installing packages: ${wanted[*]}"
  as_root apt-get -qq -o Acquire::Retries=3 update </dev/null
  as_root env DEBIAN_FRONTEND=noninteractive apt-get -qq -y --no-install-recommends \
    -o Acquire::Retries=3 -o Dpkg::Use-Pty=0 install "${wanted[@]}" </dev/null >/dev/null \
    2> >(grep -v '^debconf: delaying package configuration' >&2)
}

# Debian has no package of jansson for MinGW, only the sources. apt reads the source lists into a
# separate folder, which leaves the machine's configuration unchanged, and checks signatures as usual.
fetch_jansson() {
  local work=$1 options
  mkdir -p "$work/sources.list.d" "$work/lists/partial"
  if [ -e /etc/apt/sources.list.d/debian.sources ]; then
    sed -E 's/^Types:.*/Types: deb-src/' /etc/apt/sources.list.d/debian.sources \
      >"$work/sources.list.d/src.sources"
  else
    sed -nE 's/^deb(-src)?[[:space:]]/deb-src /p' /etc/apt/sources.list | sort -u \
      >"$work/sources.list.d/src.list"
  fi
  options=(-o Dir::Etc::sourcelist=/dev/null -o "Dir::Etc::sourceparts=$work/sources.list.d"
    -o "Dir::State::lists=$work/lists" -o APT::Sandbox::User=root -o Acquire::Retries=3)
  apt-get "${options[@]}" -qq update </dev/null
  (cd "$work" && apt-get "${options[@]}" -qq source jansson </dev/null >/dev/null)
}

build_jansson() {
  local stamp work source
  # A change of this script, the toolchain file or the compiler causes a rebuild.
  stamp=$(cat "$0" "$root/cmake/mingw-w64.cmake" | sha256sum | cut -c1-16)
  stamp+=" $(x86_64-w64-mingw32-gcc-posix --version | head -n 1)"
  [ "$(cat "$prefix/.stamp" 2>/dev/null)" != "$stamp" ] || return 0
  install_packages dpkg-dev

  say "building jansson for Windows"
  mkdir -p "$root/build/deps"
  work=$(mktemp -d "$root/build/deps/jansson.XXXXXX")
  # shellcheck disable=SC2064 # expands now, on purpose
  trap "rm -rf '$work'" EXIT
  fetch_jansson "$work"
  source=$(find "$work" -maxdepth 1 -type d -name 'jansson-*')
  cmake -S "$source" -B "$work/build" -G Ninja -Wno-dev \
    -DCMAKE_TOOLCHAIN_FILE="$root/cmake/mingw-w64.cmake" -DCMAKE_INSTALL_PREFIX="$prefix" \
    -DCMAKE_BUILD_TYPE=Release -DCMAKE_C_FLAGS_RELEASE="-O2 -DNDEBUG" \
    -DCMAKE_C_FLAGS="-ffunction-sections -fdata-sections -ffile-prefix-map=$work=." \
    -DJANSSON_BUILD_DOCS=OFF -DJANSSON_EXAMPLES=OFF -DJANSSON_WITHOUT_TESTS=ON \
    -DJANSSON_BUILD_SHARED_LIBS=OFF >"$work/log" 2>&1 &&
    cmake --build "$work/build" >>"$work/log" 2>&1 &&
    rm -rf "$prefix" &&
    cmake --install "$work/build" >>"$work/log" 2>&1 || {
    cat "$work/log" >&2
    return 1
  }
  echo "$stamp" >"$prefix/.stamp"
  rm -rf "$work"
  trap - EXIT
}

[ $# -gt 0 ] || packages_of help
names=
for group in "$@"; do
  names+=" $(packages_of "$group")"
done
read -rd '' -a packages <<<"$names" || true
install_packages "${packages[@]}"
for group in "$@"; do
  if [ "$group" = cross ]; then build_jansson; fi
done
