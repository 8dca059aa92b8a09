"""Builds the Python package by CMake: the library goes into the extension, so that a wheel needs nothing else.

pybind11, CMake and a C++20 compiler must be installed; nothing is fetched.
"""
import os
import pathlib
import re
import shlex
import subprocess
import sys

from setuptools import Extension, setup
from setuptools.command.build_ext import build_ext

ROOT = pathlib.Path(__file__).resolve().parent
VERSION = re.search(r"project\(kel VERSION ([\d.]+)", (ROOT / "CMakeLists.txt").read_text()).group(1)


class CMakeBuild(build_ext):
    """Leaves the compiling to CMake."""

    def build_extension(self, extension):
        target = pathlib.Path(self.get_ext_fullpath(extension.name)).resolve()
        build = pathlib.Path(self.build_temp).resolve()
        build.mkdir(parents=True, exist_ok=True)
        options = {
            "CMAKE_BUILD_TYPE": "Release",
            "CMAKE_UNITY_BUILD": "ON",
            "CMAKE_POSITION_INDEPENDENT_CODE": "ON",
            "BUILD_SHARED_LIBS": "OFF",
            "KEL_BUILD_PYTHON": "ON",
            "KEL_BUILD_APPS": "OFF",
            "KEL_BUILD_BENCHMARKS": "OFF",
            "KEL_BUILD_EXAMPLES": "OFF",
            "KEL_BUILD_TESTS": "OFF",
            "KEL_INSTALL": "OFF",
            "Python_EXECUTABLE": sys.executable,
        }
        configure = ["cmake", "-S", str(ROOT), "-B", str(build)] + [f"-D{name}={value}" for name, value in options.items()]
        configure += shlex.split(os.environ.get("CMAKE_ARGS", ""))  # last, so that they have the last word
        jobs = self.parallel or os.environ.get("CMAKE_BUILD_PARALLEL_LEVEL") or len(os.sched_getaffinity(0))
        subprocess.run(configure, check=True)
        subprocess.run(["cmake", "--build", str(build), "--target", "kel_python", "--parallel", str(jobs)], check=True)
        target.parent.mkdir(parents=True, exist_ok=True)
        self.copy_file(str(build / "python/kel" / target.name), str(target))


setup(
    version=VERSION,
    packages=["kel"],
    package_dir={"": "python"},
    package_data={"kel": ["py.typed", "*.pyi"]},
    ext_modules=[Extension("kel._kel", sources=[])],
    cmdclass={"build_ext": CMakeBuild},
)
