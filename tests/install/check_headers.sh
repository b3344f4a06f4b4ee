#!/usr/bin/env bash
# check_headers.sh INCLUDE_DIR...
# Every public header (zyn/*.h under each INCLUDE_DIR), included alone, must compile as C99 and
# as C++17, with the INCLUDE_DIRs on the search path and nothing else. CC and CXX choose the
# compilers.
set -euo pipefail
cc=${CC:-cc} cxx=${CXX:-c++}
flags=(-Wall -Wextra -Werror -pedantic-errors -fsyntax-only)
for d in "$@"; do flags+=(-I"$d"); done
status=0 count=0
for d in "$@"; do
  for h in "$d"/zyn/*.h; do
    [ -e "$h" ] || continue
    name=zyn/$(basename "$h")
    # The typedef keeps a header of macros only from being an empty translation unit.
    tu=$(printf '#include <%s>\ntypedef int not_empty;' "$name")
    "$cc" -std=c99 -Wstrict-prototypes -x c "${flags[@]}" - <<< "$tu" ||
      { echo "not self-contained in C99: $name"; status=1; }
    "$cxx" -std=c++17 -x c++ "${flags[@]}" - <<< "$tu" ||
      { echo "not self-contained in C++17: $name"; status=1; }
    count=$((count + 1))
  done
done
[ "$count" -gt 0 ] || { echo "no headers under $*"; exit 1; }
echo "$count headers, each alone in C99 and C++17"
exit $status
