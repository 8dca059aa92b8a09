#!/bin/sh
# pkg_config_test.sh COMPILER PREFIX LIBDIR PROGRAM: builds and runs the caller by what kel.pc says, then the installed program.
set -eu
compiler=$1
prefix=$2
libdir=$2/$3
program=$4

export PKG_CONFIG_PATH="$libdir/pkgconfig"
pkg-config --exact-version 1.12.0 kel
# shellcheck disable=SC2046  # words
"$compiler" -std=c++17 -Wall -Wextra -Wpedantic -Werror "$(dirname "$0")/caller.cpp" -o "$program" \
    $(pkg-config --cflags --libs kel)
LD_LIBRARY_PATH=$libdir "$program"

# The program asks for the library by its SONAME, which holds the minor version.
test "$(readlink "$libdir/libkel.so")" = libkel.so.1.12
test "$(readlink "$libdir/libkel.so.1.12")" = libkel.so.1.12.0
if [ -x "$prefix/bin/kel" ]; then
    test "$("$prefix/bin/kel" --version)" = "kel 1.12"
fi
