#!/bin/sh
# Writes a manual page for the program, for each of its commands and for the files of sites:
# man_pages.sh PROGRAM DIRECTORY
set -eu
program=$1
directory=$2
rm -rf "$directory"
mkdir -p "$directory/man1" "$directory/man5"
"$program" __complete '' | cut -f1 | while read -r command; do
    "$program" __man "$command" >"$directory/man1/quillon-$command.1"
done
"$program" __man >"$directory/man1/quillon.1"
"$program" __man config >"$directory/man5/quillon-config.5"
