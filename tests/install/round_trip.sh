#!/usr/bin/env bash
# round_trip.sh [BUILD_DIR]
# Installs an existing build (default: build) into a temporary prefix, checks what was installed,
# then builds examples/consumer against that prefix twice, with CMake's find_package and with
# pkg-config on a plain compiler line, and runs both. Nothing of the source or build tree is on
# the consumer's paths. Does not rebuild the library.
set -euo pipefail
src=$(cd "$(dirname "$0")/../.." && pwd)
build=$(cd "${1:-$src/build}" && pwd)
work=$(mktemp -d); trap 'rm -rf "$work"' EXIT
prefix=$work/prefix
fail() { echo "round trip: $*"; exit 1; }
# The consumer must find zyn only in the prefix: no loader path, no chosen core library.
unset LD_LIBRARY_PATH ZYN_CORE_LIBRARY

cmake --install "$build" --prefix "$prefix" > "$work/install.log"
pc=$(find "$prefix" -name zyn.pc)
[ -n "$pc" ] || fail "no zyn.pc installed"
export PKG_CONFIG_PATH=${pc%/zyn.pc}
version=$(pkg-config --modversion zyn)
libdir=$(pkg-config --variable=libdir zyn)

# Shared objects: the run-time name is the SONAME, a link to the versioned file.
for lib in zyn_kernel zyn_core; do
  runtime=lib$lib.so.${version%%.*}
  [ "$(readlink "$libdir/$runtime")" = "lib$lib.so.$version" ] ||
    fail "no link $runtime -> lib$lib.so.$version"
  readelf -d "$libdir/$runtime" | grep -q "SONAME.*\[$runtime\]" ||
    fail "SONAME of lib$lib is not $runtime"
done
programs=$(find "$prefix" -type f -executable ! -name 'lib*.so.*')
[ -z "$programs" ] || fail "programs installed: $programs"
[ -f "$prefix/share/doc/zyn/README.md" ] || fail "docs not installed"
# The installed objects export what the build's objects do: the core names, the rows, the entries.
exports() {
  "$src/tools/exports/check_exports.sh" "$@" > "$work/exports.log" ||
    { cat "$work/exports.log"; fail "exports of the installed $(basename "$1")"; }
}
exports "$libdir/libzyn_core.so" "$src/tools/exports/core.names"
# shellcheck disable=SC2046
exports "$libdir/libzyn_kernel.so" "$src"/tools/exports/kernel/*.names \
  $(sed -n 's/^ZYN_GENERATED_EXPORT_LISTS:INTERNAL=//p' "$build/CMakeCache.txt" | tr ';' ' ')

echo "round trip: consumer built with find_package(zyn)"
cmake -S "$src/examples/consumer" -B "$work/cmake" -DCMAKE_PREFIX_PATH="$prefix" \
  -DCMAKE_FIND_PACKAGE_NO_PACKAGE_REGISTRY=ON > "$work/configure.log" ||
  { cat "$work/configure.log"; fail "configure with CMake"; }
cmake --build "$work/cmake" > "$work/build.log" ||
  { cat "$work/build.log"; fail "build with CMake"; }
"$work/cmake/consumer" || fail "the consumer built with CMake failed"

echo "round trip: consumer built with pkg-config"
# shellcheck disable=SC2046
"${CC:-cc}" -std=c99 -Wall -Wextra -Werror -pedantic-errors $(pkg-config --cflags zyn) \
  "$src/examples/consumer/consumer.c" -o "$work/consumer" $(pkg-config --libs zyn) -lm \
  -Wl,-rpath,"$libdir" ||
  fail "build with pkg-config"
"$work/consumer" || fail "the consumer built with pkg-config failed"
