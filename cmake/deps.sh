#!/usr/bin/env bash
# Usage: cmake/deps.sh GROUP...
# Installs the missing ones of the packages that a group needs on Debian 12.
#   cross     the MinGW-w64 compiler, headers and page files that suit any system, and zlib, jansson and
#             SQLite built for it into build/deps/mingw
#   native    GCC and the libraries of the local gateway and of native builds; curl, to send to it
#   sanitize  clang and its sanitizers
#   wine      Wine, to run Windows programs
#   qt        Qt 6, for examples/qt
#   bindings  compilers and run-times for the tests of the bindings for other languages
#   package   what packs releases and checks them
#   prove     gcovr, for the campaign that measures coverage
#   lint      clang-format, clang-tidy, shellcheck, Node.js
#   docs      Doxygen and Python, to make the reference site
#   web       Chromium without a window and Node.js, to test the gateway's page; nginx and curl, to
#             test examples/deploy; ClickHouse, to test the gateway's store. The services of nginx
#             and ClickHouse are not started, but the next boot starts them unless you disable them
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
prefix=$root/build/deps/mingw

say() { printf '   %s\n' "$*"; }

# Node.js may be installed from elsewhere, and Debian's packages would conflict with it.
unless_found() { # PROGRAM PACKAGE
  command -v "$1" >/dev/null || echo "$2"
}

packages_of() {
  case $1 in
    cross)
      echo cmake ninja-build googletest g++-mingw-w64-x86-64-posix libcli11-dev libboost-dev \
        libjs-chart.js
      # To unpack sources, and to generate SQLite's.
      [ -e "$prefix/.stamp" ] || echo dpkg-dev gcc libc6-dev make tcl
      ;;
    native)
      echo cmake ninja-build googletest g++ \
        libjansson-dev libsqlite3-dev sqlite3 zlib1g-dev libssl-dev libboost-dev libcli11-dev libjs-chart.js \
        openssl curl
      ;;
    sanitize) echo clang-19 libclang-rt-19-dev lld-19 llvm-19 ;; # llvm-19: names in reports
    wine) echo wine wine64 libgnutls30 ;;
    qt) echo qt6-base-dev ;;
    bindings)
      echo python3 mono-mcs rustc libstd-rust-dev-windows
      unless_found npm npm
      unless_found cargo cargo
      # To reset the gateway between two runs.
      echo curl
      ;;
    package) echo zip libxml2-utils ;;
    lint)
      echo clang-format-19 clang-tidy-19 shellcheck
      unless_found node nodejs
      ;;
    docs) echo doxygen python3 ;;
    prove) echo gcovr ;;
    web)
      echo chromium-headless-shell clickhouse-server nginx-light curl
      unless_found node nodejs
      unless_found npm npm
      ;;
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

# Runs a command while no package may start its service.
without_services() (
  policy=/usr/sbin/policy-rc.d
  if [ ! -e "$policy" ]; then
    trap 'as_root rm -f "$policy"' EXIT
    printf '#!/bin/sh\nexit 101\n' | as_root install -m 755 /dev/stdin "$policy"
  fi
  "$@"
)

install_packages() {
  local wanted
  mapfile -t wanted < <(missing "$@" | sort -u)
  [ ${#wanted[@]} -gt 0 ] || return 0
  say "installing packages: ${wanted[*]}"
  as_root apt-get -qq -o Acquire::Retries=3 update </dev/null
  without_services \
    as_root env DEBIAN_FRONTEND=noninteractive apt-get -qq -y --no-install-recommends \
    -o Acquire::Retries=3 -o Dpkg::Use-Pty=0 install "${wanted[@]}" </dev/null >/dev/null \
    2> >(grep -v '^debconf: delaying package configuration' >&2)
}

# Unpacks the sources of Debian's packages zlib, jansson and sqlite3. apt reads the source lists into a
# separate folder, which leaves the machine's configuration unchanged, and checks signatures as usual.
fetch_sources() {
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
  (cd "$work" && apt-get "${options[@]}" -qq source zlib jansson sqlite3 </dev/null >/dev/null)
}

triplet=x86_64-w64-mingw32
# The objects contain machine code beside the input of link-time optimisation, as those of
# src/CMakeLists.txt do.
library_flags=(-DNDEBUG -ffunction-sections -fdata-sections -flto -ffat-lto-objects)

# The files that compress are optimised for speed: most of the session thread's time is theirs. The
# table of checksums (9 KB) is calculated at run time. The functions for .gz files are left out.
build_zlib() {
  local source=$1 file level objects=()
  mkdir -p "$prefix/lib" "$prefix/include"
  for file in adler32 compress crc32 deflate inffast inflate inftrees trees uncompr zutil; do
    case $file in
      adler32 | crc32 | deflate | trees) level=-O2 ;;
      *) level=-Os ;;
    esac
    objects+=("$source/$file.o")
    # The input of link-time optimisation contains the name of the source file, and for a relative one
    # the current folder. Both would get into the symbol file of the DLL.
    $triplet-gcc-posix $level "${library_flags[@]}" -DDYNAMIC_CRC_TABLE \
      "-ffile-prefix-map=$source=/zlib" "-frandom-seed=$file" \
      -c "$source/$file.c" -o "$source/$file.o" || return 1
  done
  $triplet-gcc-ar-posix rcsD "$prefix/lib/libz.a" "${objects[@]}" &&
    cp "$source/zlib.h" "$source/zconf.h" "$prefix/include/"
}

# Without a compiler cache, whose objects may name the folders of another build.
build_jansson() {
  local source=$1
  cmake -S "$source" -B "$source/build" -G Ninja -Wno-dev \
    -DCMAKE_TOOLCHAIN_FILE="$root/cmake/mingw-w64.cmake" -DCMAKE_INSTALL_PREFIX="$prefix" \
    -DCMAKE_BUILD_TYPE=Release -DCMAKE_C_FLAGS_RELEASE=-Os -DCMAKE_C_COMPILER_LAUNCHER= \
    -DCMAKE_C_FLAGS="${library_flags[*]} -ffile-prefix-map=$source=/jansson -frandom-seed=jansson" \
    -DJANSSON_BUILD_DOCS=OFF -DJANSSON_EXAMPLES=OFF -DJANSSON_WITHOUT_TESTS=ON \
    -DJANSSON_BUILD_SHARED_LIBS=OFF &&
    cmake --build "$source/build" &&
    cmake --install "$source/build"
}

# For the gateway only, which is linked without link-time optimisation. Extensions, full text search
# among them, are left out. The store's connections are used by one thread each, at the same time.
build_sqlite() {
  local source=$1
  mkdir "$source/build" || return 1
  (cd "$source/build" &&
    ../configure --disable-tcl --disable-readline &&
    make sqlite3.c &&
    $triplet-gcc-posix -O2 -DNDEBUG -ffunction-sections -fdata-sections -DSQLITE_THREADSAFE=1 \
      -DSQLITE_OMIT_LOAD_EXTENSION -DSQLITE_LIKE_DOESNT_MATCH_BLOBS -c sqlite3.c -o sqlite3.o) &&
    $triplet-gcc-ar-posix rcsD "$prefix/lib/libsqlite3.a" "$source/build/sqlite3.o" &&
    cp "$source/build/sqlite3.h" "$prefix/include/"
}

# Debian has zlib for MinGW, but optimised for speed only, and neither of the others.
build_libraries() {
  local stamp work
  # A change of this script, the toolchain file or the compiler causes a rebuild.
  stamp=$(cat "$0" "$root/cmake/mingw-w64.cmake" | sha256sum | cut -c1-16)
  stamp+=" $($triplet-gcc-posix --version | head -n 1)"
  [ "$(cat "$prefix/.stamp" 2>/dev/null)" != "$stamp" ] || return 0
  install_packages dpkg-dev gcc libc6-dev make tcl

  say "building zlib, jansson and SQLite for Windows"
  mkdir -p "$root/build/deps"
  work=$(mktemp -d "$root/build/deps/sources.XXXXXX")
  # shellcheck disable=SC2064 # expands now, on purpose
  trap "rm -rf '$work'" EXIT
  fetch_sources "$work"
  rm -rf "$prefix"
  {
    build_zlib "$(find "$work" -maxdepth 1 -type d -name 'zlib-*')" &&
      build_jansson "$(find "$work" -maxdepth 1 -type d -name 'jansson-*')" &&
      build_sqlite "$(find "$work" -maxdepth 1 -type d -name 'sqlite3-*')"
  } >"$work/log" 2>&1 || {
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
  if [ "$group" = cross ]; then build_libraries; fi
done
