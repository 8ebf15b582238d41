#!/usr/bin/env bash
# Compares the results of all functions, to the bit, between compilers and levels of optimisation, and between memory
# that is fresh and memory that holds something. Prints the hashes that differ.
#   scripts/same_bits.sh            builds the library and the program with g++ and clang++ at several levels
#   scripts/same_bits.sh --quick    takes the builds of the presets release, asan and clang that are there
set -euo pipefail
cd "$(dirname "$0")/.."
export ASAN_OPTIONS=allocator_may_return_null=1

if [ "${1:-}" = --quick ]; then
    programs=()
    for preset in release asan clang; do
        program=build/$preset/tests/same_bits/same_bits
        [ ! -x "$program" ] || programs+=("$program")
    done
    if [ ${#programs[@]} -lt 2 ]; then
        echo "Fewer than two of the presets release, asan and clang have been built."
        exit 1
    fi
else
    scripts/setup.sh
    programs=()
    for build in g++-O0 g++-O2 g++-O3 clang++-O0 clang++-O2; do
        folder=build/same_bits/$build
        cmake -G Ninja -S . -B "$folder" -DCMAKE_CXX_COMPILER="${build%-*}" -DCMAKE_BUILD_TYPE=RelWithDebInfo \
            -DCMAKE_CXX_FLAGS_RELWITHDEBINFO="-${build##*-}" -DBUILD_SHARED_LIBS=OFF -DMELDRA3D_PYTHON=OFF \
            -DMELDRA3D_EXAMPLES=OFF -DMELDRA3D_INSTALL=OFF >/dev/null
        cmake --build "$folder" -j 2 --target same_bits >/dev/null
        programs+=("$folder/tests/same_bits/same_bits")
    done
fi

hashes=$(mktemp -d)
trap 'rm -r "$hashes"' EXIT
first=$hashes/first
"${programs[0]}" >"$first"
different=0
for program in "${programs[@]}"; do
    for filled in 0 90 165; do # bytes that malloc and free of glibc write over memory
        if ! MALLOC_PERTURB_=$filled "$program" | diff "$first" - >"$hashes/diff"; then
            echo "$program (memory filled with $filled) differs from ${programs[0]}:"
            cat "$hashes/diff"
            different=1
        fi
    done
done
[ "$different" = 0 ] || exit 1
echo "same bits: $(wc -l <"$first") functions, ${#programs[@]} builds, no difference"
