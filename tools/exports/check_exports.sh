#!/usr/bin/env bash
# check_exports.sh LIBRARY NAMES_FILE...
# Compares the dynamic symbol table of LIBRARY with the expected names: fails on any export that
# is not expected and on any name of a landed family that is not exported; reports the names of
# pending families as missing.
set -euo pipefail
lib=$1; shift
tmp=$(mktemp -d); trap 'rm -rf "$tmp"' EXIT
# __odr_asan.* are the address sanitizer's one-definition markers of exported data, not names of ours.
nm -D --defined-only "$lib" | awk '{print $NF}' | sed 's/@.*//' | grep -v '^__odr_asan' | sort -u > "$tmp/exported"
awk '/^#/ || NF == 0 {next} /^\[/ {gsub(/[\[\]]/, ""); fam=$1; st=$2; next} {print fam, st, $1}' "$@" > "$tmp/expected"
awk '{print $3}' "$tmp/expected" | sort -u > "$tmp/all"
awk '$2 == "landed" {print $3}' "$tmp/expected" | sort -u > "$tmp/landed"
status=0
extra=$(comm -23 "$tmp/exported" "$tmp/all")
if [ -n "$extra" ]; then echo "exported but not expected:"; echo "$extra" | sed 's/^/  /'; status=1; fi
lost=$(comm -23 "$tmp/landed" "$tmp/exported")
if [ -n "$lost" ]; then echo "landed but not exported:"; echo "$lost" | sed 's/^/  /'; status=1; fi
awk 'NR == FNR {exported[$1] = 1; next} $2 != "landed" && !($3 in exported) {print $1}' \
    "$tmp/exported" "$tmp/expected" | sort | uniq -c |
  awk '{printf "pending family %s: %d names missing (not built yet)\n", $2, $1}'
echo "$(wc -l < "$tmp/exported") names exported, $(wc -l < "$tmp/landed") expected from landed families"
exit $status
