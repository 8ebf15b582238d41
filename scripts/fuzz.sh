#!/usr/bin/env bash
# Runs each fuzz target for a number of seconds (60 when none is given) and fails at the first broken promise. The
# inputs found are kept under build/fuzz/corpus, and a run goes on from them. A failing input is kept under
# build/fuzz/failures: run the target with that file as its argument to see the failure again.
#   scripts/fuzz.sh [SECONDS]
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-60}

scripts/setup.sh
cmake --preset fuzz >/dev/null
cmake --build --preset fuzz -j 2

mkdir -p build/fuzz/failures
for target in build/fuzz/fuzz/fuzz_*; do
    [ -x "$target" ] && [ -f "$target" ] || continue
    name=$(basename "$target")
    corpus=build/fuzz/corpus/$name
    log=build/fuzz/$name.log
    mkdir -p "$corpus"
    if ! "$target" -max_total_time="$seconds" -max_len=512 -rss_limit_mb=2048 -print_final_stats=1 \
        -artifact_prefix="build/fuzz/failures/$name-" "$corpus" "fuzz/seeds/$name" >"$log" 2>&1; then
        grep -vE '^(#|DEDUPED|==[0-9]+==WARNING)' "$log" | tail -n 60
        exit 1
    fi
    awk -v name="$name" '/number_of_executed_units/ { print name ": " $2 " runs, nothing broken" }' "$log"
done
