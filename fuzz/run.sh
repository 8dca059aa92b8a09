#!/bin/sh
# run.sh [SECONDS [NAME...]]: fuzzes readers of files and whole operations (all of them unless named), SECONDS each (60), one
# a processor. Status 1 when one of them has a finding; its input is then in build/asan/findings. What is learnt stays in
# build/asan/corpus, so a later run goes on from there; remove that folder to start anew. FUZZ_SEED is the random seed, 0 a new
# one in each run. The library is that of the sanitized tests, so comparisons aren't watched: numbers that a reader looks for
# come from the seeds and words.dict.
set -eu
cd "$(dirname "$0")/.."

seconds=${1:-60}
[ $# -eq 0 ] || shift

cmake/install-packages.sh clang libclang-rt-dev llvm cmake ninja-build ccache libtinygltf-dev nlohmann-json3-dev  # llvm: names in the stacks of a finding
cmake --preset asan
cmake --build --preset asan --target make_seeds fuzzers

build=build/asan
mkdir -p $build/findings $build/logs $build/corpus
$build/fuzz/make_seeds $build/seeds
memory=/dev/shm
[ -w $memory ] || memory=${TMPDIR:-/tmp}
TMPDIR=$(mktemp -d "$memory/kel-fuzz-XXXXXX")
export TMPDIR build seconds
trap 'rm -rf "$TMPDIR"' EXIT
trap 'exit 1' HUP INT TERM

# A file of 64 kB must not make a reader ask for 64 MB at once. Standard output is closed, as each input makes a line.
# shellcheck disable=SC2016  # for the inner shell
fuzz_one='
    reader=$1
    mkdir -p "$build/corpus/$reader" "$build/seeds/$reader"
    if "$build/fuzz/fuzz_$reader" "$build/corpus/$reader" "$build/seeds/$reader" -max_total_time="$seconds" \
        -max_len=65536 -timeout=10 -rss_limit_mb=2048 -malloc_limit_mb=64 -dict=fuzz/words.dict -close_fd_mask=1 \
        -seed="${FUZZ_SEED:-1}" -artifact_prefix="$build/findings/$reader-" >"$build/logs/$reader" 2>&1; then
        echo "$reader: no finding; $(grep "^Done" "$build/logs/$reader")"
    else
        echo "$reader: FINDING, see $build/logs/$reader, which ends:"
        tail -n 50 "$build/logs/$reader"
        exit 1
    fi'
# shellcheck disable=SC2046  # one word per fuzzer
[ $# -gt 0 ] || set -- $(find $build/fuzz -maxdepth 1 -type l -name "fuzz_*" | sed "s/.*fuzz_//" | sort)
printf '%s\n' "$@" | xargs -P "$(nproc)" -I{} sh -c "$fuzz_one" sh {} || exit 1
