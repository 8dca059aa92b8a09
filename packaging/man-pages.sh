#!/bin/sh
# man-pages.sh PROGRAM FOLDER [LIBRARIES]: writes kel.1 and a page for each command, of what --help says.
set -eu
program=$1
folder=$2
export LD_LIBRARY_PATH="${3:-}"

version=$("$program" --version)  # such as "kel 1.12"
mkdir -p "$folder"
"$program" --help | sed -n '/^Subcommands:/,$s/^  \([a-z]\{1,\}\) \{2,\}\(.*\)/\1 \2/p' | while read -r command text; do
    help2man --no-info --version-string "kel-$command ${version#kel }" --name "$text" --output "$folder/kel-$command.1" \
        "$program $command"
done
help2man --no-info --name "surface reconstruction from unordered points" --output "$folder/kel.1" "$program"
