#!/usr/bin/env bash
# Tests the packages of scripts/package.sh without installing them: the Debian packages are unpacked into a folder tree,
# the wheel, where there is one, goes into a virtual environment that sees the system's Python packages.
#   run.sh FOLDER SCRATCH
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
packages=$(realpath "$1")
rm -rf "$2"
mkdir -p "$2"
cd "$2"

for package in "$packages"/*.deb; do
    dpkg-deb --extract "$package" root
done
multiarch=$(dpkg-architecture --query DEB_HOST_MULTIARCH)
export LD_LIBRARY_PATH=$PWD/root/usr/lib/$multiarch
cmake -S "$here/../find_package" -B outside -DCMAKE_PREFIX_PATH="$PWD/root/usr" >/dev/null
cmake --build outside >/dev/null
outside/outside
ldd outside/outside | grep "$LD_LIBRARY_PATH/libmeldra3d.so.5 " >/dev/null
root/usr/bin/meldra3d info "$here/../../../examples/data/flange.msh" | grep '1,184' >/dev/null
for package in "$packages"/*.deb; do
    [ -s "root/usr/share/doc/$(dpkg-deb --field "$package" Package)/copyright" ]
done

compgen -G "$packages/*.whl" >/dev/null || { echo "packages: Debian packages work"; exit; }
/usr/bin/python3 -m venv --system-site-packages --without-pip environment
/usr/bin/python3 -m pip --python environment/bin/python install --quiet --no-index --no-deps "$packages"/*.whl
unset LD_LIBRARY_PATH
cd environment
bin/meldra3d info "$here/../../../examples/data/flange.msh" | grep '1,184' >/dev/null
bin/python -c '
import meldra3d, pathlib, sys
assert pathlib.Path(meldra3d.__file__).is_relative_to(sys.prefix), meldra3d.__file__
points, solids, _, _ = meldra3d.extrude_translate([[0, 0], [1, 0], [0, 1]], [[0, 1, 2]], (0, 0, 2), layers=4)
assert len(solids) == 4 and abs(meldra3d.volume(points, solids) - 1) < 1e-15
'
echo "packages: Debian packages and wheel work"
