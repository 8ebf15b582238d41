#!/usr/bin/env bash
# Makes what is given to others, in build/packages, and tests it: the Debian packages libmeldra3d5, libmeldra3d-dev and
# python3-meldra3d, and a Python wheel. With --clean it installs the Debian packages on a bare Debian 12 (a new folder
# tree made by mmdebstrap, as root) and builds and runs a program there.
#   scripts/package.sh             all of them
#   scripts/package.sh --debian    the Debian packages only
#   scripts/package.sh --clean     all of them, and the bare Debian
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh
rm -rf build/packages
mkdir -p build/packages

cmake -G Ninja -S . -B build/debian -Wno-dev -DCMAKE_BUILD_TYPE=Release -DCMAKE_INSTALL_PREFIX=/usr \
    -DMELDRA3D_TESTS=OFF -DMELDRA3D_EXAMPLES=OFF
cmake --build build/debian -j 2
cpack --config build/debian/CPackConfig.cmake -B build/debian/cpack
cp build/debian/cpack/*.deb build/packages

if [ "${1:-}" != --debian ]; then
    # A new copy of the sources, since the wheel's build leaves folders beside them.
    rm -rf build/wheel
    mkdir build/wheel
    git ls-files -z | tar --create --null --files-from=- | tar --extract --directory build/wheel
    /usr/bin/python3 -m pip wheel --quiet --no-build-isolation --no-deps --wheel-dir build/packages build/wheel
fi

tests/packaging/packages/run.sh build/packages build/package_test
[ "${1:-}" = --clean ] || exit 0

root=build/clean_machine
rm -rf $root
mmdebstrap --variant=apt --include=g++,cmake,make,pkg-config bookworm $root
mkdir $root/given
cp -r build/packages/*.deb tests/packaging/outside.cpp tests/packaging/find_package examples/data/flange.msh $root/given
cp tests/packaging/outside.cpp $root
env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin DEBIAN_FRONTEND=noninteractive chroot $root sh -euc '
    apt-get update -qq # the lists of packages went with the making of the tree
    apt-get install -y -qq --no-install-recommends /given/*.deb >/dev/null
    cmake -S /given/find_package -B /tmp/outside >/dev/null
    cmake --build /tmp/outside
    /tmp/outside/outside
    version=$(pkg-config --modversion meldra3d)
    c++ -std=c++17 -DPACKAGE_VERSION="\"$version\"" /given/outside.cpp $(pkg-config --cflags --libs meldra3d) -o /tmp/by_hand
    /tmp/by_hand
    meldra3d info /given/flange.msh
    apt-get remove -y -qq libmeldra3d5 >/dev/null
    test ! -e /usr/bin/meldra3d
    test ! -e /usr/lib/python3/dist-packages/meldra3d'
echo "package: the packages work on a bare Debian 12"
