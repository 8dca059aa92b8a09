#!/bin/sh
# try-wheel.sh: makes the source package and the wheel in build/wheel, and installs from the source tree into a virtual
# environment, as docs/python.md says; all without the network. Runs the tests of the Python package on both.
set -eu
cd "$(dirname "$0")/.."

cmake/install-packages.sh cmake g++ mypy ninja-build pybind11-dev python3-build python3-dev python3-matplotlib python3-numpy \
    python3-pytest python3-setuptools python3-tqdm python3-venv python3-vtk9 python3-wheel
rm -rf build/wheel
# The wheel is made of the source package, so that this has all that it needs.
/usr/bin/python3 -m build --no-isolation --outdir build/wheel .
wheel=$(ls build/wheel/*.whl)
tag=$(/usr/bin/python3 -c 'import sys, sysconfig
print("cp{0}{1}-cp{0}{1}-{2}".format(*sys.version_info[:2], sysconfig.get_platform().replace("-", "_").replace(".", "_")))')
case $wheel in
*-"$tag".whl) ;;
*)
    echo "$wheel isn't tagged $tag" >&2
    exit 1
    ;;
esac
/usr/bin/python3 -m zipfile --extract "$wheel" build/wheel/unpacked
PYTHONPATH=$PWD/build/wheel/unpacked PYTHONDONTWRITEBYTECODE=1 KEL_SOURCE=$PWD \
    /usr/bin/python3 -m pytest -q -p no:cacheprovider python/tests

# pip leaves its build in the tree that it installs from: here that of the source package.
mkdir build/wheel/tree
tar -xf build/wheel/*.tar.gz -C build/wheel/tree --strip-components=1
/usr/bin/python3 -m venv --system-site-packages build/wheel/venv
(cd build/wheel/tree && ../venv/bin/pip install --quiet --no-build-isolation --no-index .)
env -u PYTHONPATH PYTHONDONTWRITEBYTECODE=1 KEL_SOURCE="$PWD" \
    build/wheel/venv/bin/python -m pytest -q -p no:cacheprovider python/tests
ls -l build/wheel
