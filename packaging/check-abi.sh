#!/bin/sh
# check-abi.sh: whether programs that were compiled with the first kel_c.h of this SONAME go on working with that of the tree.
# That header is in packaging/abi, under the SONAME's number. A new SONAME gets a copy of its own.
set -eu
cd "$(dirname "$0")/.."

base=packaging/abi/kel_c-$(sed -n 's/.* SOVERSION \([0-9.]*\).*/\1/p' src_lib/CMakeLists.txt).h
if [ ! -f "$base" ]; then
    echo "check-abi.sh: there is no $base to hold the C interface against: copy include/kel_c.h there for a new SONAME" >&2
    exit 1
fi
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT

# compiled HEADER NAME: the library that the header promises.
compiled() {
    python3 packaging/abi.py stubs <"$1" >"$folder/$2.c"
    gcc -g -O0 -w -fPIC -shared -Wl,-soname,libkel.so "$folder/$2.c" -o "$folder/$2.so"
}
# fits HEADER: whether it fits programs of the base. Anything but a finding of abidiff's, such as a crash, ends the script.
fits() {
    compiled "$1" new
    status=0
    abidiff --redundant --no-added-syms "$folder/old.so" "$folder/new.so" >"$folder/report" || status=$?
    if [ $((status & 3)) -ne 0 ]; then
        cat "$folder/report" >&2
        exit 1
    fi
    python3 packaging/abi.py judge "$1" <"$folder/report"
}
# tried WANTED SCRIPT: what the check says of the header after a change by sed; it must be WANTED, 0 for fits.
tried() {
    sed "$2" include/kel_c.h >"$folder/changed.h"
    if cmp -s include/kel_c.h "$folder/changed.h"; then
        echo "check-abi.sh: this changes nothing: $2" >&2
        exit 1
    fi
    said=0
    fits "$folder/changed.h" >"$folder/said" || said=1
    if [ "$said" -ne "$1" ]; then
        echo "check-abi.sh: a check of the check fails: $2" >&2
        cat "$folder/said" >&2
        exit 1
    fi
}

# The check itself, against the tree: what must be found, and what may change.
compiled include/kel_c.h old
tried 1 's/^    int grow;/    double grow;/'
tried 1 's/^    int even;/    int odd_one;\n    int even;/'
tried 1 '/^    double spacing;/d'
tried 1 's/^    size_t conflicts;/    size_t conflicts;\n    size_t more;/'
tried 1 's/^    KEL_BAD_FILE = 3,/    KEL_BAD_FILE = 9,/'
tried 1 's/^size_t kel_points_count(/int kel_points_count(/'
tried 1 's/^void kel_points_free(/void kel_points_release(/'
tried 1 's/^kel_status kel_mesh_laplacian(kel_mesh\* mesh, int rounds/kel_status kel_mesh_laplacian(kel_mesh* mesh, double rounds/'
tried 0 's/^    int stl_binary;/    int stl_binary;\n    int more;/'
tried 0 's/^void kel_points_free(/void kel_points_more(void);\nvoid kel_points_free(/'

echo "Against $base:"
compiled "$base" old
fits include/kel_c.h
