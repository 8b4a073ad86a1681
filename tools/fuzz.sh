#!/usr/bin/env bash
# tools/fuzz.sh NAME CPU-MINUTES: runs the fuzz target NAME (build preset fuzz) for that much processor time, which on
# a busy machine takes longer by the clock. What reaches new code goes to build/fuzz/found/NAME; a crash is left
# there as crash-* and ends the run with a failure.
set -eu
cd "$(dirname "$0")/.."
name=$1 minutes=$2
found=build/fuzz/found/$name
mkdir -p "$found"
# Targets that work on files do a hundred times as many runs in memory.
if [ -w /dev/shm ]; then export TMPDIR=/dev/shm; fi
used=0
while [ "$used" -lt $((minutes * 60)) ]; do
  { time -p nice -n "${NICE:-15}" "build/fuzz/tests/fuzz/${name}_fuzz" -max_total_time=300 -timeout=120 -rss_limit_mb=2048 -print_final_stats=1 \
    -artifact_prefix="$found/" "$found" "tests/fuzz/corpus/$name" >"$found.log" 2>&1; } 2>"$found.time" || {
    tail -n 30 "$found.log"
    exit 1
  }
  used=$(awk -v used="$used" '/^(user|sys)/ { used += $2 } END { printf "%d", used }' "$found.time")
  runs=$(awk '/number_of_executed_units/ { print $2 }' "$found.log")
  total=$((${total:-0} + ${runs:-0}))
done
echo "$name: $total executions in $used s of processor time, no finding"
