#!/bin/sh
# [GROW="STEPS..."] growth.sh [SHAPE [POINTS...]]: the growth table of the road from points to a mesh file, on synthetic
# scans (by default a sphere of 10k, 100k and 1M points), for each number of steps of gap closing (by default 0). Each row is
# the fastest of three runs of the release build; the unit is std::sort on 10 million random 64-bit keys, measured anew before
# each row.
set -eu
cd "$(dirname "$0")/.."

shape=${1:-sphere}
[ $# -eq 0 ] || shift
[ $# -gt 0 ] || set -- 10000 100000 1000000

build=build/release
kel=$build/apps/kel/kel
if [ ! -x "$kel" ] || [ ! -x "$build/benchmarks/sort_unit" ]; then
    echo "Build first: cmake --preset release && cmake --build --preset release" >&2
    exit 1
fi
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT

# The value of a key of a report.
value() {
    sed -n "s/^ *\"$1\": \([0-9.e+-]*\),*\$/\1/p" "$folder/report.json"
}

# Prints the total, the seconds of each step, the peak and the mesh of one run.
run_once() {
    "$kel" reconstruct "$folder/scan.bin" "$folder/mesh.ply" --grow "$steps" --quiet --json "$folder/report.json"
    echo "$(value read) $(value reconstruct) $(value write) $(value peakMegabytes) $(value triangles)" |
        awk '{ print $1 + $2 + $3, $0 }'
}

printf '%9s %5s %9s | %7s %11s %7s %7s | %8s %9s %7s %7s\n' points steps triangles read reconstruct write total "us/point" \
    "peak MB" "sort s" "in sorts"
for points in "$@"; do
    "$kel" scan "$shape" "$folder/scan.bin" --points "$points" --noise 0.1 --seed 1 --quiet
    for steps in ${GROW:-0}; do
        unit=$("$build/benchmarks/sort_unit")
        best=$(for repeat in 1 2 3; do run_once; done | sort -g | head -1)
        echo "$points $unit $best $steps" | awk '{
            printf "%9d %5d %9d | %7.3f %11.3f %7.3f %7.3f | %8.2f %9.0f %7.3f %7.2f\n",
                   $1, $9, $8, $4, $5, $6, $3, 1e6 * $3 / $1, $7, $2, $3 / $2
        }'
    done
done
