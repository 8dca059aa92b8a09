#!/bin/sh
# try-deb.sh [MIRROR]: installs the packages of build/deb into a new Debian root, uses each, removes and then purges them, and
# looks each time for what they left. As root; takes debootstrap and some 400 MB.
set -eu
cd "$(dirname "$0")/../build/deb"
mirror=${1:-$(sed -n 's/^deb \(\[[^]]*\] \)\{0,1\}\([^ ]*\) .*/\2/p; s/^URIs: *\([^ ]*\).*/\1/p' /etc/apt/sources.list /etc/apt/sources.list.d/* 2>/dev/null | head -1)}

../../cmake/install-packages.sh debootstrap
root=$PWD/root
rm -rf "$root"
debootstrap --variant=minbase bookworm "$root" "$mirror" >debootstrap.log
inside() { chroot "$root" env DEBIAN_FRONTEND=noninteractive PYTHONDONTWRITEBYTECODE=1 "$@"; }
# All files of the system, but for those of the package manager, of this script and of the kernel.
listing() {
    (cd "$root" && find . -path ./proc -prune -o -path ./sys -prune -o -path ./tmp -prune -o -path ./var/cache -prune -o \
        -path ./var/log -prune -o -path ./var/lib/apt -prune -o -path ./var/lib/dpkg -prune -o -print | sort)
}

# compare FILE: what is there now against the names in FILE.
compare() {
    listing >after.txt
    diff "$1" after.txt || { echo "The packages left or took these" >&2; exit 1; }
}

cp ./*.deb "$root/tmp/"
packages=$(for deb in ./*.deb; do dpkg-deb --field "$deb" Package; done)
inside apt-get update -qq
# What the packages need comes first, and stays: all that is new afterwards is theirs.
needs=$(for deb in ./*.deb; do dpkg-deb --field "$deb" Depends; done | tr ',' '\n' | grep -v kel | paste -sd ,)
installed() {
    inside apt-get "$@" -y -qq --no-install-recommends >install.log 2>&1 || { tail install.log; exit 1; }
}
installed install bash-completion pkg-config gcc libc6-dev
installed satisfy "$needs"
listing >before.txt
inside sh -c 'apt-get install -y -qq --no-install-recommends /tmp/*.deb >/tmp/install.log 2>&1 || { tail /tmp/install.log; exit 1; }'

echo "The program:"
inside kel scan sphere /tmp/scan.xyz --points 5000
inside kel reconstruct /tmp/scan.xyz /tmp/mesh.ply
test -f "$root/usr/share/man/man1/kel.1.gz"
test -f "$root/usr/share/man/man1/kel-reconstruct.1.gz"
# shellcheck disable=SC2016  # for the shell inside
completed=$(inside bash -c '. /usr/share/bash-completion/bash_completion
    _completion_loader kel
    COMP_WORDS=(kel re) COMP_CWORD=1 COMP_LINE="kel re" COMP_POINT=6
    _kel kel re kel
    echo "${COMPREPLY[@]}"')
test "$completed" = "reconstruct reduce" || { echo "kel re is completed by: $completed" >&2; exit 1; }

echo "The Python module:"
inside python3 -c 'import kel; mesh = kel.reconstruct(kel.read_points("/tmp/scan.xyz")); print(mesh, mesh.info()["closed"])'

echo "The C interface:"
cp ../../examples/mesh_of_points.c "$root/tmp/"
# shellcheck disable=SC2016  # for the shell inside
inside sh -c 'cc -std=c99 -pedantic /tmp/mesh_of_points.c -o /tmp/example $(pkg-config --cflags --libs kel) -lm && /tmp/example' | tail -1

# Configuration files stay when packages are removed, and go when they are purged. dpkg does that, since apt no longer knows
# packages of which nothing is left.
# shellcheck disable=SC2016,SC2086  # names of dpkg's; one name a word
kept=$(inside dpkg-query --show --showformat '${Conffiles}\n' $packages | awk 'NF { print "." $1 }')
# shellcheck disable=SC2086
installed remove $packages
printf '%s\n' "$kept" | sed '/^$/d' | sort -u - before.txt >removed.txt
compare removed.txt
# shellcheck disable=SC2086
inside dpkg --purge $packages >purge.log 2>&1 || { tail purge.log; exit 1; }
compare before.txt
# shellcheck disable=SC2016  # names of dpkg's
if inside dpkg-query --show --showformat '${Package}: ${Status}\n' '*kel*' 2>/dev/null | grep -v not-installed; then
    echo "These packages are left" >&2
    exit 1
fi
rm -rf "$root"
echo "Nothing left behind"
