"""Recipe for Conan 2: `conan create packaging/conan` in a copy of the repository."""

import os
import re

from conan import ConanFile
from conan.tools.build import check_min_cppstd
from conan.tools.cmake import CMake, CMakeToolchain, cmake_layout
from conan.tools.files import copy, load
from conan.tools.system.package_manager import Apt, Dnf, PacMan, Zypper


class Meldra3d(ConanFile):
    name = "meldra3d"
    description = "Three-dimensional finite-element mesh tools on dense arrays"
    license = "Apache-2.0"
    topics = ("mesh", "finite-elements", "extrusion", "interpolation")
    package_type = "library"
    settings = "os", "arch", "compiler", "build_type"
    options = {"shared": [True, False], "fPIC": [True, False]}
    default_options = {"shared": True, "fPIC": True}
    implements = ["auto_shared_fpic"]

    # The folder of the sources, seen from this one.
    sources = os.path.join("..", "..")

    def set_version(self):
        project = load(self, os.path.join(self.recipe_folder, self.sources, "CMakeLists.txt"))
        self.version = re.search(r"project\(meldra3d VERSION ([\d.]+)", project).group(1)

    def export_sources(self):
        root = os.path.join(self.recipe_folder, self.sources)
        for pattern in ("CMakeLists.txt", "LICENSE", "cmake/*", "companions/*", "include/*", "packaging/*", "src/*"):
            copy(self, pattern, root, self.export_sources_folder)

    def system_requirements(self):
        """LAPACK comes from the system, where its implementation is the administrator's choice."""
        Apt(self).install(["liblapack-dev"])
        Dnf(self).install(["lapack-devel"])
        Zypper(self).install(["lapack-devel"])
        PacMan(self).install(["lapack"])

    def validate(self):
        check_min_cppstd(self, 17)

    def layout(self):
        cmake_layout(self)

    def generate(self):
        toolchain = CMakeToolchain(self)
        for part in ("TESTS", "PYTHON", "EXAMPLES", "BENCHMARKS"):
            toolchain.variables[f"MELDRA3D_{part}"] = False
        toolchain.generate()

    def build(self):
        cmake = CMake(self)
        cmake.configure()
        cmake.build()

    def package(self):
        copy(self, "LICENSE", self.source_folder, os.path.join(self.package_folder, "licenses"))
        CMake(self).install()

    def package_info(self):
        self.cpp_info.libs = ["meldra3d"]
        if not self.options.shared:
            self.cpp_info.system_libs = ["lapack"]
        self.cpp_info.set_property("cmake_file_name", "meldra3d")
        self.cpp_info.set_property("cmake_target_name", "quorl::meldra3d")
        self.cpp_info.set_property("pkg_config_name", "meldra3d")
