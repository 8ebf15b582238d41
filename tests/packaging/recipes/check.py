#!/usr/bin/python3
"""Check the recipes for Conan and vcpkg as far as it goes without their tools and servers.

The recipes are run with stand-ins for the functions of the two tools, which write down what they are asked for; that must
be what the project has: its version, options, files and target.
"""

import importlib.util
import json
import pathlib
import re
import subprocess
import sys
import tempfile
import types
from unittest import mock

ROOT = pathlib.Path(__file__).resolve().parents[3]
PROJECT = (ROOT / "CMakeLists.txt").read_text(encoding="utf-8")
VERSION = re.search(r"project\(meldra3d VERSION ([\d.]+)", PROJECT).group(1)
OPTIONS = set(re.findall(r"option\((MELDRA3D_\w+)", PROJECT))


def load_conan_recipe(path: pathlib.Path):
    """The module of a recipe, whose imports of Conan give mocks."""
    conan = types.ModuleType("conan")
    conan.ConanFile = type("ConanFile", (), {})
    tools = mock.MagicMock()
    tools.files.load = lambda recipe, file: pathlib.Path(file).read_text(encoding="utf-8")
    names = ["tools", "tools.build", "tools.cmake", "tools.files", "tools.system", "tools.system.package_manager"]
    modules = {"conan": conan}
    for name in names:
        modules[f"conan.{name}"] = eval(name, {"tools": tools})
    with mock.patch.dict(sys.modules, modules):
        spec = importlib.util.spec_from_file_location("recipe", path)
        module = importlib.util.module_from_spec(spec)
        spec.loader.exec_module(module)
    return module, tools


def check_conan() -> None:
    module, tools = load_conan_recipe(ROOT / "packaging/conan/conanfile.py")
    recipe = module.Meldra3d()
    recipe.recipe_folder = str(ROOT / "packaging/conan")
    recipe.export_sources_folder = recipe.source_folder = recipe.package_folder = "somewhere"
    recipe.options = types.SimpleNamespace(shared=False)
    recipe.cpp_info = mock.MagicMock()

    recipe.set_version()
    assert recipe.version == VERSION, recipe.version

    recipe.export_sources()
    patterns = [call.args[1] for call in tools.files.copy.call_args_list]
    for pattern in patterns:
        assert list(ROOT.glob(pattern)), f"nothing is called {pattern}"
    exported = {pattern.split("/")[0] for pattern in patterns}
    needed = set(re.findall(r"add_subdirectory\((\w+)", re.sub(r"if\(MELDRA3D_\w+\).*?endif\(\)", "", PROJECT, flags=re.S)))
    assert needed | {"CMakeLists.txt", "cmake", "include"} <= exported, needed - exported

    toolchain = tools.cmake.CMakeToolchain.return_value
    toolchain.variables = {}
    recipe.generate()
    assert toolchain.variables and set(toolchain.variables) <= OPTIONS, toolchain.variables

    recipe.package_info()
    assert recipe.cpp_info.libs == ["meldra3d"] and recipe.cpp_info.system_libs == ["lapack"]
    recipe.cpp_info.set_property.assert_any_call("cmake_target_name", "quorl::meldra3d")
    for name in ("build", "layout", "package", "system_requirements", "validate"):
        getattr(recipe, name)()
    load_conan_recipe(ROOT / "packaging/conan/test_package/conanfile.py")


def check_vcpkg() -> None:
    port = ROOT / "packaging/vcpkg"
    manifest = json.loads((port / "vcpkg.json").read_text(encoding="utf-8"))
    assert manifest["name"] == "meldra3d" and manifest["version"] == VERSION, manifest

    with tempfile.TemporaryDirectory() as scratch:
        functions = "\n".join(
            f'function({name})\n  file(APPEND "{scratch}/calls" "{name};${{ARGN}}\\n")\nendfunction()'
            for name in (
                "vcpkg_cmake_configure",
                "vcpkg_cmake_install",
                "vcpkg_cmake_config_fixup",
                "vcpkg_fixup_pkgconfig",
                "vcpkg_install_copyright",
            )
        )
        script = pathlib.Path(scratch, "run.cmake")
        script.write_text(f'{functions}\nset(CURRENT_PACKAGES_DIR "{scratch}/package")\ninclude("{port}/portfile.cmake")\n')
        subprocess.run(["cmake", "-P", script], check=True)
        calls = [line.split(";") for line in pathlib.Path(scratch, "calls").read_text().splitlines()]

    assert [call[0] for call in calls][:2] == ["vcpkg_cmake_configure", "vcpkg_cmake_install"], calls
    configure = calls[0]
    assert pathlib.Path(configure[configure.index("SOURCE_PATH") + 1]) == ROOT, configure
    asked = {option[2:].split("=")[0] for option in configure if option.startswith("-D")}
    assert asked and asked <= OPTIONS, asked
    licence = next(call for call in calls if call[0] == "vcpkg_install_copyright")
    assert pathlib.Path(licence[2]).is_file(), licence


check_conan()
check_vcpkg()
print(f"recipes: Conan and vcpkg ask for what version {VERSION} has")
