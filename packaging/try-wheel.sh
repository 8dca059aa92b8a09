#!/bin/sh
# try-wheel.sh: makes the source package and the wheel in build/wheel, without the network, and runs the tests of the Python
# package on the wheel alone.
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
ls -l build/wheel
