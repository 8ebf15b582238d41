#!/usr/bin/env bash
# Runs each fuzz target for a number of seconds (60 when none is given), two side by side where there are two cores,
# and ends with a table of what was run. The first broken promise ends the run with status 1. The inputs found are kept
# under build/fuzz/corpus, and a run goes on from them. A failing input is kept under build/fuzz/failures: run the
# target with that file as its argument to see the failure again.
#   scripts/fuzz.sh [SECONDS]      20 for a quick look, 1200 for a campaign
#   scripts/fuzz.sh --coverage     lines and branches of the library that the inputs found so far reach (needs llvm-14)
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh
targets_of() { # build folder
    find "$1/fuzz" -maxdepth 1 -name 'fuzz_*' -type f -perm -u+x -printf '%f\n' | sort
}

if [ "${1:-}" = --coverage ]; then
    command -v llvm-cov-14 >/dev/null || { echo "fuzz: the Debian package llvm-14 is needed" >&2; exit 1; }
    build=build/fuzz-coverage
    cmake --preset fuzz-coverage >/dev/null
    cmake --build --preset fuzz-coverage -j 2 >/dev/null
    objects=()
    rm -f "$build"/*.profraw
    for name in $(targets_of "$build"); do
        mkdir -p "build/fuzz/corpus/$name"
        LLVM_PROFILE_FILE="$build/$name.profraw" "$build/fuzz/$name" -runs=0 -rss_limit_mb=4096 \
            "build/fuzz/corpus/$name" "fuzz/seeds/$name" >"$build/$name.log" 2>&1
        objects+=(-object "$build/fuzz/$name")
    done
    llvm-profdata-14 merge -sparse "$build"/*.profraw -o "$build/fuzz.profdata"
    llvm-cov-14 report "${objects[@]:1}" -instr-profile="$build/fuzz.profdata" \
        -ignore-filename-regex='/(fuzz|tests)/|^/usr/|/examples/' | tee "$build/report.txt"
    exit
fi

export seconds=${1:-60}
cmake --preset fuzz >/dev/null
cmake --build --preset fuzz -j 2
mkdir -p build/fuzz/failures

run_target() { # name; 255 keeps xargs from starting another
    mkdir -p "build/fuzz/corpus/$1"
    "build/fuzz/fuzz/$1" -max_total_time="$seconds" -max_len=512 -timeout=60 -rss_limit_mb=2048 -print_final_stats=1 \
        -dict=fuzz/fuzz.dict -artifact_prefix="build/fuzz/failures/$1-" "build/fuzz/corpus/$1" "fuzz/seeds/$1" \
        >"build/fuzz/$1.log" 2>&1 && return
    grep -vE '^(#|DEDUPED|==[0-9]+==WARNING)' "build/fuzz/$1.log" | tail -n 60
    return 255
}
export -f run_target
side_by_side=$(($(nproc) > 1 ? 2 : 1))
targets_of build/fuzz | xargs -P "$side_by_side" -I{} bash -c 'run_target {}' || exit 1

printf '%-20s %8s %11s %7s %7s %9s\n' target seconds executions 'per s' edges features
for name in $(targets_of build/fuzz); do
    awk -v name="$name" '
        /DONE/ { for (k = 1; k < NF; ++k) { if ($k == "cov:") edges = $(k + 1); if ($k == "ft:") features = $(k + 1) } }
        /^Done/ { runs = $2; time = $5 }
        END { printf "%-20s %8d %11d %7d %7d %9d\n", name, time, runs, runs / (time ? time : 1), edges, features }
    ' "build/fuzz/$name.log"
done
