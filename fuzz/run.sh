#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Runs one fuzz target on its corpus for that many seconds, or for 0 seconds only on the committed
# inputs, and prints its row of the table. New inputs are stored in the build directory.
set -euo pipefail

seconds=$1
target=$2
cd "$(dirname "${BASH_SOURCE[0]}")/.."
build=build/fuzz
finds=$build/corpus/$target
faults=$build/faults/$target-
mkdir -p "$finds" "$build/faults"

options=(-print_final_stats=1 -timeout=20 "-artifact_prefix=$faults")
[ ! -e "fuzz/dictionaries/$target.dict" ] || options+=("-dict=fuzz/dictionaries/$target.dict")
corpora=("fuzz/corpus/$target")
if [ "$seconds" -eq 0 ]; then
  options+=(-runs=0)
else
  options+=("-max_total_time=$seconds")
  corpora=("$finds" "${corpora[@]}")
fi

# In memory: the targets create and delete files thousands of times per second.
scratch=$(mktemp -d -p /dev/shm)
trap 'rm -rf "$scratch"' EXIT

# An array may request too much memory, and must get null.
status=0
ASAN_OPTIONS=allocator_may_return_null=1 TMPDIR=$scratch \
  "$build/fuzz/fuzz_$target" "${options[@]}" "${corpora[@]}" >"$scratch/log" 2>&1 </dev/null ||
  status=$?

stat() { sed -n "s/^stat::$1: *//p" "$scratch/log"; }

printf '| %s | %s | %s | %s |\n' "$target" "$(stat number_of_executed_units)" \
  "$(stat average_exec_per_sec)" "$((status == 0 ? 0 : 1))"
[ "$status" -eq 0 ] || grep -Ev '^(#|INFO|stat::|\s*NEW_FUNC)' "$scratch/log" >&2
exit "$status"
