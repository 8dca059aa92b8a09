#!/bin/sh
# demo.sh [--picture] [FILE]: builds the library, reconstructs a synthetic scan (or the points of FILE), prints the mesh's
# figures and says where it lies. A picture is made where f3d is installed; --picture installs it.
set -eu
here=$(cd "$(dirname "$0")" && pwd)

picture=no
input=""
for argument in "$@"; do
    case "$argument" in
    --picture) picture=yes ;;
    -*)
        echo "usage: ./demo.sh [--picture] [FILE]" >&2
        exit 2
        ;;
    *) input=$(realpath -m "$argument") ;;
    esac
done
cd "$here"

cmake/install-packages.sh g++ cmake ninja-build ccache libcli11-dev nlohmann-json3-dev zlib1g-dev libtinygltf-dev lib3mf-dev
[ "$picture" = no ] || cmake/install-packages.sh f3d xvfb xauth

# A folder of its own: no test, no benchmark, and what those need isn't asked for.
cmake --preset release -B build/demo -DKEL_BUILD_TESTS=OFF -DKEL_BUILD_BENCHMARKS=OFF -DKEL_BUILD_EXAMPLES=OFF
cmake --build build/demo

kel=build/demo/apps/kel/kel
mkdir -p out
if [ -z "$input" ]; then
    input=out/torus.bin
    "$kel" scan torus "$input" --points 20000 --noise 0.1 --seed 1
fi
"$kel" reconstruct "$input" out/mesh.ply --json out/report.json

echo
"$kel" info out/mesh.ply --reference "$input"
echo
echo "Points:  $input"
echo "Report:  $PWD/out/report.json"
echo "Mesh:    $PWD/out/mesh.ply"
if command -v f3d >/dev/null 2>&1 && command -v xvfb-run >/dev/null 2>&1; then
    # f3d needs a display, also when it only writes a file.
    if xvfb-run -a f3d out/mesh.ply --output out/mesh.png --resolution 1200,900 --no-background --edges --fxaa \
        --up +Z --camera-elevation-angle 35 --camera-view-angle 20 --color 0.75,0.85,1 >out/f3d.log 2>&1; then
        echo "Picture: $PWD/out/mesh.png"
    else
        echo "Picture: none, f3d failed, see $PWD/out/f3d.log"
    fi
else
    echo "Picture: none, f3d and xvfb-run aren't here (./demo.sh --picture installs them)"
fi
