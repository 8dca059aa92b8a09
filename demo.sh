#!/bin/sh
# demo.sh [--picture] [FILE]: builds the library, reconstructs a synthetic scan (or the points of FILE) and says where the mesh
# lies. A picture is made where f3d is installed; --picture installs it.
set -eu
cd "$(dirname "$0")"

picture=no
input=""
for argument in "$@"; do
    case "$argument" in
    --picture) picture=yes ;;
    -*)
        echo "usage: ./demo.sh [--picture] [FILE]" >&2
        exit 2
        ;;
    *) input=$argument ;;
    esac
done

cmake/install-packages.sh g++ cmake ninja-build ccache pkg-config libcli11-dev nlohmann-json3-dev
[ "$picture" = no ] || cmake/install-packages.sh f3d xvfb xauth

cmake --preset release -DKEL_BUILD_TESTS=OFF -DKEL_BUILD_BENCHMARKS=OFF -DKEL_BUILD_EXAMPLES=OFF
cmake --build --preset release --target kel_program

kel=build/release/apps/kel/kel
mkdir -p out
if [ -z "$input" ]; then
    input=out/torus.bin
    "$kel" scan torus "$input" --points 50000 --noise 0.1 --seed 1
fi
"$kel" reconstruct "$input" out/mesh.ply --json out/report.json

echo
echo "Report:  $PWD/out/report.json"
cat out/report.json
echo "Mesh:    $PWD/out/mesh.ply"
if command -v f3d >/dev/null 2>&1 && command -v xvfb-run >/dev/null 2>&1; then
    # f3d needs a display, also when it only writes a file.
    xvfb-run -a f3d out/mesh.ply --output out/mesh.png --resolution 800,600 --up +Z --edges --no-background \
        >out/f3d.log 2>&1 && echo "Picture: $PWD/out/mesh.png" || echo "f3d made no picture, see $PWD/out/f3d.log"
else
    echo "Picture: none, f3d and xvfb-run aren't here (./demo.sh --picture installs them)"
fi
