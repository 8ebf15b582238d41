#!/usr/bin/env bash
# Installs the Debian 12 packages that this project needs and that are missing. When nothing is missing it asks no
# server and prints nothing.
#   scripts/setup.sh         all of it: build, tests, benchmarks, fuzzing, format and lint checks, packages
#   scripts/setup.sh demo    what the demonstration needs, for a short first run
#   scripts/setup.sh peers   all of it, and the tools by others that benchmarks/peers measures against (300 MB)
#   scripts/setup.sh docs    what the pages and the reference need
#   scripts/setup.sh mpi     what the library for partitioned meshes and its demonstration need
set -euo pipefail

# Build, Python module and command.
packages=(cmake ninja-build g++ liblapack-dev pybind11-dev python3-dev
    python3-numpy python3-meshio python3-matplotlib python3-click python3-rich)
# Tests, benchmarks, checks and packages.
everything=(pkg-config libgtest-dev librapidcheck-dev libbenchmark-dev libtsl-hopscotch-map-dev libnanoflann-dev
    libtet1.5-dev libopenmpi-dev openmpi-bin libscotch-dev python3-pytest python3-pip python3-venv python3-skbuild
    dpkg-dev fakeroot clang clang-format clang-tidy cppcheck llvm-14 libclang-rt-14-dev libfuzzer-14-dev)
case "${1:-all}" in
demo) ;;
docs) packages+=(doxygen graphviz python3-pil) ;;
mpi) packages+=(libopenmpi-dev openmpi-bin libscotch-dev) ;;
all) packages+=("${everything[@]}") ;;
peers) packages+=("${everything[@]}" libgmsh-dev libvtk9-dev libcgal-dev libeigen3-dev libabsl-dev) ;;
*)
    echo "usage: scripts/setup.sh [demo | docs | mpi | peers]" >&2
    exit 2
    ;;
esac

installed() {
    [ "$(dpkg-query -W -f='${db:Status-Status}' "$1" 2>/dev/null)" = installed ]
}

missing=()
for package in "${packages[@]}"; do
    installed "$package" || missing+=("$package")
done
[ ${#missing[@]} -gt 0 ] || exit 0

as_root=(env)
if [ "$(id -u)" -ne 0 ]; then
    if ! command -v sudo >/dev/null; then
        echo "setup: root must install: ${missing[*]}" >&2
        exit 1
    fi
    as_root=(sudo env)
fi

echo "setup: installing ${missing[*]}"
"${as_root[@]}" apt-get update -qq
"${as_root[@]}" DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
echo "setup: done"
