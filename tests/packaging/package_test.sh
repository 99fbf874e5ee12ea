#!/usr/bin/env bash
# The Debian package, unpacked into a folder and tried there: package_test.sh BUILD_DIR
set -euo pipefail
build=$1
here=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

(cd "$build" && cpack -B "$work/made" >"$work/log" 2>&1) || { cat "$work/log" >&2; exit 1; }
package=$(echo "$work"/made/quillon_*.deb)
dpkg-deb -x "$package" "$work/root"
"$here/installed.sh" "$work/root/usr"

# What the program and the libraries link is in packages that it depends on.
depends=$(dpkg-deb -f "$package" Depends)
for library in libc6 libcurl4 libexpat1 libsodium23 libsqlite3-0 libssl3 libutf8proc2; do
    [[ $depends == *"$library "* ]] || { echo "no $library in: $depends" >&2; exit 1; }
done
