#!/usr/bin/env bash
# Runs the tests with counters and tells what they leave out: the share of the lines and branches of src and companions
# that ran, file by file, and each line that did not. Fails when fewer than 98 % of the lines or 95 % of the branches
# ran. A condition has two branches, and those of a template have run when they have in one of its instances.
#   scripts/coverage.sh             builds, runs all tests, reports
#   scripts/coverage.sh --report    reports on the runs there are
set -euo pipefail
cd "$(dirname "$0")/.."
build=build/clang

if [ "${1:-}" != --report ]; then
    scripts/setup.sh
    rm -rf $build/profiles
    cmake --preset clang >/dev/null
    cmake --build --preset clang -j 2
    ctest --preset clang -j 2
fi

llvm-profdata-14 merge -sparse $build/profiles/*.profraw -o $build/tests.profdata
binaries=("$(realpath $build/libmeldra3d.so)")
while read -r program; do
    binaries+=(-object "$program")
done < <(find $build/tests -type f -executable -name '*_tests')
read_counters() { # command, argument...
    llvm-cov-14 "$1" "${binaries[@]}" -instr-profile=$build/tests.profdata "${@:2}" -ignore-filename-regex='/tests/|/usr/' 2>/dev/null
}

read_counters export -format=lcov | awk -F '[:,]' -v root="$PWD/" '
    function percent(part, whole) { return whole == 0 ? 100 : 100 * part / whole }
    /^SF:/ {
        file = $2
        while (sub(/[^\/]+\/\.\.\//, "", file))
            ;
        sub(root, "", file)
    }
    /^DA:/ && $3 == 0 { lines_left[file] = lines_left[file] " " $2 }
    /^LF:/ { lines[file] = $2; all_lines += $2 }
    /^LH:/ { run_lines[file] = $2; all_run_lines += $2 }
    /^BRF:/ { branches[file] = $2; all_branches += $2 }
    /^BRH:/ { run_branches[file] = $2; all_run_branches += $2 }
    END {
        for (file in lines)
            printf "%6.1f %% of %4d lines, %6.1f %% of %4d branches  %s%s\n", percent(run_lines[file], lines[file]), lines[file],
                percent(run_branches[file], branches[file]), branches[file], file, lines_left[file] == "" ? "" : ", not" lines_left[file] | "sort -k 10"
        close("sort -k 10")
        lines_run = percent(all_run_lines, all_lines)
        branches_run = percent(all_run_branches, all_branches)
        printf "%.1f %% of %d lines and %.1f %% of %d branches ran\n", lines_run, all_lines, branches_run, all_branches
        exit !(all_lines > 0 && lines_run >= 98 && branches_run >= 95)
    }'
