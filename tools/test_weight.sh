#!/usr/bin/env bash
# Prints the lines of library code, the lines of tests and their ratio (C and C++ sources,
# headers and row lists). The tests should stay within a third of the library.
set -euo pipefail
cd "$(dirname "$0")/.."
count() { find "$@" -type f \( -name '*.cpp' -o -name '*.hpp' -o -name '*.h' -o -name '*.def' \) -print0 |
            xargs -0 cat | wc -l; }
lib=$(count core frame vector stream dist stats fitting include)
tst=$(count tests)
awk -v l="$lib" -v t="$tst" 'BEGIN { printf "library lines %d, test lines %d, tests/library %.1f%%\n", l, t, 100 * t / l }'
