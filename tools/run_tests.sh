#!/usr/bin/env bash
# Sets up, builds and runs every test: the release build, then the same suite under the
# address and undefined-behaviour sanitizers (skip that with ZYN_SKIP_SANITIZE=1), then the
# tests labelled `threads` under the thread sanitizer (skip that with ZYN_SKIP_TSAN=1).
set -euo pipefail
cd "$(dirname "$0")/.."
tools/setup.sh
jobs=$(nproc)
cmake -S . -B build -DCMAKE_BUILD_TYPE=Release > /dev/null
cmake --build build -j"$jobs"
ctest --test-dir build --output-on-failure -j"$jobs"
# The release build installed into a temporary prefix, and examples/consumer built against it.
tests/install/round_trip.sh build
if [ "${ZYN_SKIP_SANITIZE:-0}" != 1 ]; then
  # -O1 without debug information: the sanitizers need no more, and the build is much faster.
  cmake -S . -B build-asan -DCMAKE_BUILD_TYPE=Release -DCMAKE_CXX_FLAGS_RELEASE=-O1 \
    -DCMAKE_C_FLAGS_RELEASE=-O1 -DZYN_SANITIZE=ON > /dev/null
  cmake --build build-asan -j"$jobs"
  ASAN_OPTIONS=detect_leaks=1:allocator_may_return_null=1 UBSAN_OPTIONS=print_stacktrace=1 \
    ctest --test-dir build-asan --output-on-failure -j"$jobs" -LE no_sanitize
fi
if [ "${ZYN_SKIP_TSAN:-0}" != 1 ]; then
  # Only the binaries of the thread tests are built. allocator_may_return_null: some tests ask
  # for impossible sizes and expect null back.
  cmake -S . -B build-tsan -DCMAKE_BUILD_TYPE=Release -DCMAKE_CXX_FLAGS_RELEASE=-O1 \
    -DCMAKE_C_FLAGS_RELEASE=-O1 -DZYN_TSAN=ON > /dev/null
  cmake --build build-tsan -j"$jobs" --target zyn_thread_tests
  TSAN_OPTIONS=allocator_may_return_null=1 \
    ctest --test-dir build-tsan --output-on-failure -j"$jobs" -L threads
fi
