#!/bin/sh
# Makes the pictures of fit.md again: docs/pictures.sh KEL, with a built program. Installs what draws them.
set -eu
kel=$(realpath "$1")
cd "$(dirname "$0")"
../cmake/install-packages.sh f3d xvfb xauth pngquant
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

"$kel" scan block "$work/block.bin" --points 12000 --noise 0.17 --seed 1 --quiet
"$kel" reconstruct "$work/block.bin" "$work/unfitted.ply" --no-fit --quiet
"$kel" reconstruct "$work/block.bin" "$work/fitted.ply" --quiet
for mesh in unfitted fitted; do
    xvfb-run -a f3d "$work/$mesh.ply" --output "$mesh.png" --resolution 640,400 --no-background --edges --fxaa --up +Z \
        --camera-elevation-angle 25 --camera-azimuth-angle 30 --camera-view-angle 20 --color 0.75,0.85,1
    pngquant --force --ext .png 16 "$mesh.png"
done
