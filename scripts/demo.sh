#!/usr/bin/env bash
# Builds the library and its Python module in Release, sweeps the face of a flange into graded layers of solids, checks
# the volume, and leaves out/flange.vtu and out/flange.png.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh demo
[ -d build/demo ] || echo "demo: building, half a minute"
mkdir -p build/demo
build() {
    cmake --preset release -B build/demo -DMELDRA3D_TESTS=OFF -DMELDRA3D_BENCHMARKS=OFF && cmake --build build/demo -j 2
}
build >build/demo/log.txt 2>&1 || {
    cat build/demo/log.txt >&2
    exit 1
}
PYTHONPATH=build/demo/python /usr/bin/python3 examples/flange.py out
echo "wrote out/flange.vtu and out/flange.png"
