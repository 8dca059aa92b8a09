#!/bin/sh
# docs/build.sh: writes the API pages to build/docs/html; any warning is an error. Installs doxygen where it is missing.
set -eu
cd "$(dirname "$0")/.."

cmake/install-packages.sh doxygen
version=$(sed -n 's/^project(kel VERSION \([0-9.]*\) .*/\1/p' CMakeLists.txt)
mkdir -p build/docs
(cat docs/Doxyfile && echo "PROJECT_NUMBER = $version") | doxygen -
echo "API pages: $PWD/build/docs/html/index.html"
