#!/bin/bash
# compare.sh OLD NEW [RUNS]: builds two revisions as releases and times whole roads, file to file, in turn (OLD, NEW, OLD,
# ...; RUNS of each, by default 7, after one that isn't counted). Prints for each road the medians of the processor seconds
# and of the elapsed seconds, the median of the ratios NEW/OLD pair by pair, and whether both wrote the same bytes. The table
# is Markdown. Scans are synthetic, the same for both.
set -euo pipefail
cd "$(dirname "$0")/.."

[ $# -ge 2 ] || { sed -n '2,5s/^# //p' "$0" >&2; exit 2; }
runs=${3:-7}
compare=$PWD/build/compare
mkdir -p "$compare"

# A checkout of the revision in a folder of its own, and its program.
build() {
    local revision folder=$compare/$2
    revision=$(git rev-parse --verify "$1^{commit}")
    if [ -e "$folder/.git" ]; then
        git -C "$folder" checkout -q --detach "$revision"
    else
        git worktree prune
        git worktree add -q --detach "$folder" "$revision"
    fi
    cmake -S "$folder" --preset release -DKEL_BUILD_TESTS=OFF -DKEL_BUILD_BENCHMARKS=OFF -DKEL_BUILD_EXAMPLES=OFF
    cmake --build "$folder/build/release" --target kel_program
}
build "$1" old >"$compare/build.log" 2>&1 || { tail -n 30 "$compare/build.log" >&2; exit 1; }
build "$2" new >"$compare/build.log" 2>&1 || { tail -n 30 "$compare/build.log" >&2; exit 1; }
old=$compare/old/build/release/apps/kel/kel
new=$compare/new/build/release/apps/kel/kel

folder=$(mktemp -d)
: >"$folder/errors"
trap '[ $? -eq 0 ] || cat "$folder/errors" >&2; rm -rf "$folder"' EXIT
"$old" scan sphere "$folder/sphere.bin" --points 300000 --noise 0.1 --seed 1 --quiet
"$old" scan torus "$folder/torus.xyz" --points 300000 --noise 0.3 --seed 2 --quiet
"$old" scan patches "$folder/patches.bin" --points 100000 --noise 0.1 --seed 3 --quiet
"$old" reconstruct "$folder/sphere.bin" "$folder/mesh.ply" --quiet
"$old" reconstruct "$folder/torus.xyz" "$folder/soup.stl" --quiet

# Runs a road once: processor and elapsed seconds on standard output.
TIMEFORMAT='%U %S %R'
measure() {
    { time "$@" >/dev/null 2>"$folder/errors"; } 2>&1 | awk '{ print $1 + $2, $3 }'
}
median() {
    sort -g | awk '{ v[NR] = $1 } END { print NR % 2 ? v[(NR + 1) / 2] : (v[NR / 2] + v[NR / 2 + 1]) / 2 }'
}

# What a command is asked for when it shall make what the cells alone make: PROGRAM COMMAND. Nothing where it does no more.
bare() {
    local help
    help=$("$1" "$2" --help)
    case $help in
        *--plain*) echo --plain ;;
        *--raw*) echo --raw ;;
    esac
}

# The words of a command line with --bare replaced.
with() {
    local bare=$1
    shift
    for word in "$@"; do
        if [ "$word" = --bare ]; then word=$bare; fi
        printf '%s\n' "$word"  # echo would swallow -n
    done
}

# compare_road NAME FILE COMMAND ARGUMENT...: --bare stands for what bare() says.
compare_road() {
    local name=$1 out=$2 run same=yes bare_old bare_new
    shift 2
    bare_old=$(bare "$old" "$1")
    bare_new=$(bare "$new" "$1")
    : >"$folder/times"
    for run in $(seq 0 "$runs"); do
        # shellcheck disable=SC2046  # an option or none
        a=$(measure "$old" $(with "$bare_old" "$@") "$folder/old_$out" --quiet)
        # shellcheck disable=SC2046
        b=$(measure "$new" $(with "$bare_new" "$@") "$folder/new_$out" --quiet)
        [ "$run" -eq 0 ] || echo "$a $b" >>"$folder/times"
    done
    cmp -s "$folder/old_$out" "$folder/new_$out" || same=no
    printf '| %s | %.3f | %.3f | %.3f | %.3f | %.3f | %.3f | %s |\n' "$name" \
        "$(awk '{ print $1 }' "$folder/times" | median)" "$(awk '{ print $3 }' "$folder/times" | median)" \
        "$(awk '{ print $3 / $1 }' "$folder/times" | median)" \
        "$(awk '{ print $2 }' "$folder/times" | median)" "$(awk '{ print $4 }' "$folder/times" | median)" \
        "$(awk '{ print $4 / $2 }' "$folder/times" | median)" "$same"
}

echo "$(git log -1 --format='%h (%cs)' "$1") against $(git log -1 --format='%h (%cs)' "$2"), medians of $runs runs," \
    "$(nproc) processors"
echo
echo '| Road | processor s, old | new | ratio | elapsed s, old | new | ratio | same bytes |'
echo '| --- | --- | --- | --- | --- | --- | --- | --- |'
compare_road 'sphere, 300k points, all steps' a.ply reconstruct "$folder/sphere.bin"
compare_road 'the same, as the cells make it' b.ply reconstruct --bare "$folder/sphere.bin"
compare_road 'noisy torus, 300k points as text, smoothed' c.ply reconstruct --bare --laplacian --factor 1.5 "$folder/torus.xyz"
compare_road 'sphere with holes, 100k points, 12 steps of growth' d.ply reconstruct --bare --grow 12 "$folder/patches.bin"
compare_road 'melt of 0.4M triangles, as the cells make it' e.ply melt --bare --spacing 0.01 "$folder/soup.stl"
compare_road 'reduce' f.ply reduce --max-edge 0.1 --max-angle 15 "$folder/mesh.ply"
compare_road 'flip' g.ply flip "$folder/mesh.ply"
compare_road 'smooth, 10 rounds' h.ply smooth -n 10 "$folder/mesh.ply"
