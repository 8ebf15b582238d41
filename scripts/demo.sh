#!/usr/bin/env bash
# Builds the library and its Python module in Release, makes a part with each kind of sweep and opens one, checks them, and
# leaves out/gallery.png, a sheet of all parts, and a .vtu and a .png of each.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh demo
[ -d build/demo ] || echo "demo: building, half a minute"
mkdir -p build/demo
build() {
    cmake --preset release -B build/demo -DMELDRA3D_TESTS=OFF -DMELDRA3D_BENCHMARKS=OFF -DMELDRA3D_MPI=OFF && cmake --build build/demo -j 2
}
build >build/demo/log.txt 2>&1 || {
    cat build/demo/log.txt >&2
    exit 1
}
PYTHONPATH=build/demo/python /usr/bin/python3 examples/gallery.py out
echo "wrote out/gallery.png, and a .vtu and a .png of each part"
