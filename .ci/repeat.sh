#!/bin/sh
# The same bytes from every compiler at every level of optimisation: builds the library and its repeat test four times, and
# runs each scene once.
# usage: .ci/repeat.sh [COMPILER LEVEL], as in .ci/repeat.sh clang++ O0
set -eu
cd "$(dirname "$0")/.."

check() {
    folder=build/repeat-$1-$2
    cmake -S . -B "$folder" -G Ninja -D CMAKE_CXX_COMPILER="$1" -D CMAKE_BUILD_TYPE=Debug -D CMAKE_CXX_FLAGS_DEBUG="-$2" \
        -D CMAKE_UNITY_BUILD=ON -D KEL_BUILD_APPS=OFF -D KEL_BUILD_EXAMPLES=OFF -D KEL_BUILD_BENCHMARKS=OFF \
        -D KEL_TEST_PACKAGING=OFF
    cmake --build "$folder" --target repeat_test
    KEL_REPEAT_ONCE=1 "$folder/tests/repeat_test" --gtest_filter='*AnotherScale'
}

if [ $# -eq 2 ]; then
    check "$1" "$2"
    exit
fi
for compiler in g++ clang++; do
    for level in O0 O3; do
        check $compiler $level
    done
done
