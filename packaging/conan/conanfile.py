"""Conan's recipe (2.x) for the tree that it stands in."""
import pathlib
import re

from conan import ConanFile
from conan.errors import ConanInvalidConfiguration
from conan.tools.build import check_min_cppstd
from conan.tools.cmake import CMake, CMakeDeps, CMakeToolchain, cmake_layout
from conan.tools.files import copy


class Kestrel(ConanFile):
    name = 'kestrel'
    description = 'One portable layer for everything that leaves the process'
    package_type = 'shared-library'
    settings = 'os', 'arch', 'compiler', 'build_type'

    def set_version(self):
        text = (pathlib.Path(self.recipe_folder) / '../../CMakeLists.txt').read_text()
        self.version = re.search(r'project\(Kestrel VERSION ([\d.]+)', text).group(1)

    def export_sources(self):
        tree = pathlib.Path(self.recipe_folder) / '../..'
        for pattern in 'CMakeLists.txt', 'CHANGELOG.md', 'cmake/*', 'Kestrel/*', 'Tools/debug/*':
            copy(self, pattern, tree, self.export_sources_folder)

    def validate(self):
        check_min_cppstd(self, 20)
        if self.settings.compiler == 'msvc':
            raise ConanInvalidConfiguration('on Windows the library is built by mingw-w64')

    def requirements(self):
        self.requires('zlib/[>=1.2.11 <2]')
        if self.settings.os == 'Linux':
            self.requires('utf8proc/[>=2.5]')

    def layout(self):
        cmake_layout(self)

    def generate(self):
        CMakeDeps(self).generate()
        toolchain = CMakeToolchain(self)
        toolchain.cache_variables['KESTREL_TESTS'] = False
        toolchain.cache_variables['KESTREL_TOOLS'] = False
        toolchain.generate()

    def build(self):
        cmake = CMake(self)
        cmake.configure()
        cmake.build()

    def package(self):
        CMake(self).install()

    def package_info(self):
        self.cpp_info.set_property('cmake_find_mode', 'none')  # the installed KestrelConfig.cmake
        self.cpp_info.builddirs = ['lib/cmake/Kestrel']
        self.cpp_info.libs = ['Kestrel' if self.settings.os == 'Windows' else 'kestrel']
