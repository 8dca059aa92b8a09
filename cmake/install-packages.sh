#!/bin/sh
# install-packages.sh PACKAGE...: installs the Debian packages among these that are missing, as root or through sudo.
set -eu

missing=""
for package in "$@"; do
    status=$(dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null || true)
    [ "$status" = "installed" ] || missing="$missing $package"
done
[ -n "$missing" ] || exit 0

if [ "$(id -u)" -eq 0 ]; then
    as_root="env"
elif command -v sudo >/dev/null 2>&1; then
    as_root="sudo env"
else
    echo "These packages are missing, and neither root nor sudo is at hand to install them:$missing" >&2
    exit 1
fi

echo "Installing:$missing"
$as_root DEBIAN_FRONTEND=noninteractive apt-get update -qq
# shellcheck disable=SC2086  # a list of words
$as_root DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends $missing >/dev/null
