#!/usr/bin/env bash
# Sets up, builds and runs the tour example.
set -euo pipefail
cd "$(dirname "$0")/.."
tools/setup.sh
cmake -S . -B build -DCMAKE_BUILD_TYPE=Release > /dev/null
cmake --build build -j"$(nproc)" --target tour
build/examples/tour/tour
