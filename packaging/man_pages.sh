#!/bin/sh
# Writes a manual page for the program and for each of its commands: man_pages.sh PROGRAM DIRECTORY
set -eu
program=$1
directory=$2
rm -rf "$directory"
mkdir -p "$directory"
"$program" __complete '' | cut -f1 | while read -r command; do
    "$program" __man "$command" >"$directory/quillon-$command.1"
done
"$program" __man >"$directory/quillon.1"
