#!/bin/sh
# build-deb.sh: makes the Debian packages of the tree as it is committed, in build/deb, and looks at them with lintian.
set -eu
cd "$(dirname "$0")/.."

cmake/install-packages.sh bash-completion cmake debhelper dh-python dpkg-dev help2man lib3mf-dev libcli11-dev libtinygltf-dev \
    lintian ninja-build nlohmann-json3-dev pybind11-dev python3-dev zlib1g-dev g++
# Packages are optimised, whatever the shell of the caller says. debhelper has a home of its own, without the cache.
DEB_BUILD_OPTIONS=$(echo "${DEB_BUILD_OPTIONS:-}" | tr ' ' '\n' | grep -vx noopt | tr '\n' ' ' || true)
CCACHE_DIR=${CCACHE_DIR:-${XDG_CACHE_HOME:-$HOME/.cache}/ccache}
export DEB_BUILD_OPTIONS CCACHE_DIR

rm -rf build/deb
mkdir -p build/deb/kel
git archive HEAD | tar -x -C build/deb/kel
mv build/deb/kel/packaging/debian build/deb/kel/debian
cd build/deb/kel
dpkg-buildpackage --build=binary --no-sign --jobs="$(nproc)"
cd ..
lintian --fail-on error,warning --info --tag-display-limit 0 --allow-root ./*.changes
ls -l ./*.deb
