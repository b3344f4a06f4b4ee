#!/usr/bin/env bash
# run_fuzz.sh [RUNS] [JOBS]: builds the stream image fuzz targets with clang, libFuzzer and the
# address and undefined-behaviour sanitizers against the release build's libraries, and runs each
# for RUNS executions (default 10^7) from a copy of the seed corpus tests/stream/images/.
# Installs clang and its runtime libraries when they are missing.
set -euo pipefail
cd "$(dirname "$0")/.."
runs=${1:-10000000}
if ! command -v clang++ > /dev/null || ! ls /usr/lib/llvm-14/lib/clang/*/lib/linux/libclang_rt.fuzzer-x86_64.a > /dev/null 2>&1; then
  apt-get install -y clang libclang-rt-14-dev
fi
cmake -S . -B build -DCMAKE_BUILD_TYPE=Release > /dev/null
cmake --build build -j2 --target zyn_kernel zyn_core
mkdir -p build-fuzz
for target in memory:0 file:1; do
  name=${target%%:*}
  clang++ -std=c++20 -O1 -g -fsanitize=fuzzer,address,undefined -fno-sanitize-recover=all \
    -DZYN_FUZZ_TARGET="${target##*:}" -Iinclude -I. tests/stream/fuzz_image.cpp \
    -Lbuild/lib -lzyn_kernel -lzyn_core -Wl,-rpath,"$PWD/build/lib" -o "build-fuzz/fuzz_image_$name"
  rm -rf "build-fuzz/corpus_$name" && cp -r tests/stream/images "build-fuzz/corpus_$name"
  echo "fuzz_image_$name: $runs runs from $(ls tests/stream/images | wc -l) seeds"
  ASAN_OPTIONS=detect_leaks=1:allocator_may_return_null=1 \
    "build-fuzz/fuzz_image_$name" -runs="$runs" -max_len=200000 -rss_limit_mb=4096 \
    "build-fuzz/corpus_$name" 2>&1 | tail -n 3
done
