#!/bin/sh
# Builds everything and runs all tests; installs what is missing first. Ends with ctest's summary and its exit status.
set -eu
cd "$(dirname "$0")"

cmake/install-packages.sh g++ cmake ninja-build ccache pkg-config python3 libgtest-dev libbenchmark-dev libcli11-dev nlohmann-json3-dev zlib1g-dev libtinygltf-dev lib3mf-dev \
    pybind11-dev python3-dev python3-numpy python3-pytest python3-tqdm python3-matplotlib python3-vtk9 mypy

cmake --preset dev
cmake --build --preset dev
exec ctest --preset dev -j "$(nproc)"
