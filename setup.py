"""Builds a wheel: the Python files, and the compiled module with the library inside. The metadata is in pyproject.toml."""

import pathlib
import re

from skbuild import setup

# CMakeLists.txt is the one place of the version.
project = pathlib.Path(__file__).with_name("CMakeLists.txt").read_text(encoding="utf-8")
version = re.search(r"project\(meldra3d VERSION ([\d.]+)", project).group(1)

setup(
    version=version,
    packages=["meldra3d"],
    package_dir={"": "python"},
    package_data={"meldra3d": ["py.typed", "*.pyi"]},
    cmake_args=[
        "-DBUILD_SHARED_LIBS=OFF",
        "-DCMAKE_BUILD_TYPE=Release",
        "-DMELDRA3D_TESTS=OFF",
        "-DMELDRA3D_EXAMPLES=OFF",
        "-DMELDRA3D_INSTALL=OFF",
    ],
)
