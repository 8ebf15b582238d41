#!/usr/bin/env bash
# Builds bar.cpp, runs it on some processes (two unless told otherwise) and leaves out/distributed.png.
#   examples/distributed/run.sh [RANKS]
set -euo pipefail
cd "$(dirname "$0")/../.."
ranks=${1:-2} build=build/distributed

scripts/setup.sh mpi
mkdir -p "$build" out
build() {
    cmake --preset release -B "$build" -DMELDRA3D_MPI=ON -DMELDRA3D_TESTS=OFF -DMELDRA3D_PYTHON=OFF \
        -DMELDRA3D_BENCHMARKS=OFF &&
        cmake --build "$build" -j 2 --target example_bar
}
build >"$build/log.txt" 2>&1 || {
    cat "$build/log.txt" >&2
    exit 1
}
# More ranks than cores, or beside other programs, so that those that wait yield and none is bound to a core; and
# containers, in which the user is root and a process may not read the memory of another.
export OMPI_ALLOW_RUN_AS_ROOT=1 OMPI_ALLOW_RUN_AS_ROOT_CONFIRM=1 OMPI_MCA_rmaps_base_oversubscribe=1
export OMPI_MCA_btl_vader_single_copy_mechanism=none OMPI_MCA_mpi_yield_when_idle=1
export OMPI_MCA_hwloc_base_binding_policy=none
rm -f out/source_*.txt out/target_*.txt
mpiexec -n "$ranks" "$build/examples/distributed/example_bar" out
/usr/bin/python3 examples/distributed/draw.py out
