#!/usr/bin/env python3
"""conan.py RECIPE PREFIX WORK: runs a recipe by stand-ins for the operations of the manager. What the
recipe requires is found in PREFIX, and the result stands in WORK/packages."""
import importlib.util
import pathlib
import shutil
import subprocess
import sys
import types

RECIPE, PREFIX, WORK = (pathlib.Path(argument).resolve() for argument in sys.argv[1:])


class CMake:
    variables = {}

    def __init__(self, recipe):
        self.recipe = recipe

    def configure(self):
        given = [f'-D{key}={"ON" if value else "OFF"}' for key, value in self.variables.items()]
        subprocess.run(['cmake', '-S', self.recipe.export_sources_folder, '-B', WORK / 'build', '-G', 'Ninja',
                        *given, '-DCMAKE_BUILD_TYPE=Debug', '-DCMAKE_INSTALL_LIBDIR=lib',
                        f'-DCMAKE_LIBRARY_PATH={PREFIX}/lib', f'-DCMAKE_INCLUDE_PATH={PREFIX}/include',
                        f'-DCMAKE_INSTALL_PREFIX={WORK}/packages'], check=True)

    def build(self):
        subprocess.run(['cmake', '--build', WORK / 'build'], check=True)

    def install(self):
        subprocess.run(['cmake', '--install', WORK / 'build'], check=True)


class CMakeToolchain:
    def __init__(self, recipe):
        self.cache_variables = CMake.variables

    def generate(self):
        pass


def copy(recipe, pattern, source, target):
    for path in pathlib.Path(source).glob(pattern):
        place = pathlib.Path(target) / path.relative_to(source)
        place.parent.mkdir(parents=True, exist_ok=True)
        (shutil.copytree if path.is_dir() else shutil.copy2)(path, place)


class ConanFile:
    required = []

    def requires(self, what):
        self.required.append(what)


def provide(name, **contents):
    sys.modules[name] = types.ModuleType(name)
    sys.modules[name].__dict__.update(contents)


provide('conan', ConanFile=ConanFile)
provide('conan.errors', ConanInvalidConfiguration=ValueError)
provide('conan.tools.build', check_min_cppstd=lambda recipe, least: None)
provide('conan.tools.cmake', CMake=CMake, CMakeDeps=CMakeToolchain, CMakeToolchain=CMakeToolchain,
        cmake_layout=lambda recipe: None)
provide('conan.tools.files', copy=copy)
spec = importlib.util.spec_from_file_location('recipe', RECIPE)
module = importlib.util.module_from_spec(spec)
spec.loader.exec_module(module)
recipe = module.Kestrel()
recipe.settings = types.SimpleNamespace(os='Linux', compiler='gcc')  # in place of their names
recipe.recipe_folder = str(RECIPE.parent)
recipe.export_sources_folder = str(WORK / 'sources')
recipe.cpp_info = types.SimpleNamespace(set_property=lambda key, value: None)
for step in ('set_version', 'export_sources', 'validate', 'requirements', 'layout', 'generate', 'build',
             'package', 'package_info'):
    getattr(recipe, step)()
assert recipe.version.count('.') == 2 and len(recipe.required) == 2, (recipe.version, recipe.required)
for folder in recipe.cpp_info.builddirs:
    assert (WORK / 'packages' / folder / 'KestrelConfig.cmake').exists(), folder
assert (WORK / f'packages/lib/lib{recipe.cpp_info.libs[0]}.so').exists()
