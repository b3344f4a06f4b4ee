#!/usr/bin/env bash
# Sets up, builds and runs the benchmarks; extra arguments go to every benchmark binary
# (for example --benchmark_filter=Ln).
set -euo pipefail
cd "$(dirname "$0")/.."
tools/setup.sh
cmake -S . -B build-bench -DCMAKE_BUILD_TYPE=Release -DZYN_BUILD_BENCH=ON -DZYN_BUILD_TESTS=OFF > /dev/null
cmake --build build-bench -j"$(nproc)"
for b in build-bench/bench/bench_*; do
  [ -x "$b" ] && "$b" "$@"
done
