#!/usr/bin/env bash
# Usage: rust.sh WORK_FOLDER LIBRARY
# Builds the crate of the Rust binding with cargo for this machine, where it finds no library. Compiles its
# example for Windows, runs it under Wine beside LIBRARY and compares what arrives at the gateway of
# TAV_TEST_GATEWAY.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
root=$here/../..
work=$1
library=$2
target=x86_64-pc-windows-gnu

mkdir -p "$work"
# cargo may belong to another compiler than the one for Windows.
RUSTFLAGS='-D warnings' cargo build --quiet --offline --locked --examples \
  --manifest-path "$root/bindings/rust/Cargo.toml" --target-dir "$work/cargo"

# The first compiler that has the standard library for Windows (Debian: libstd-rust-dev-windows).
compiler=
while read -r candidate; do
  if [ -d "$("$candidate" --print target-libdir --target "$target" 2>/dev/null)" ]; then
    compiler=$candidate
    break
  fi
done < <(type -ap rustc)
[ -n "$compiler" ] || { echo "rust.sh: no rustc with the target $target" >&2; exit 1; }

flags=(--edition 2021 --target "$target" -C linker=x86_64-w64-mingw32-gcc-posix -D warnings
  --out-dir "$work")
"$compiler" "${flags[@]}" --crate-type rlib --crate-name tav "$root/bindings/rust/src/lib.rs"
"$compiler" "${flags[@]}" --extern "tav=$work/libtav.rlib" "$root/bindings/rust/examples/report.rs"
cp "$library" "$work/tav.dll"
"$root/tests/support/host_reports.sh" "$here/binding_host.events" -- "$root/tools/wine/run.sh" \
  "$work/report.exe"
