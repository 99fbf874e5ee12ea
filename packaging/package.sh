#!/usr/bin/env bash
# The Debian package into BUILD_DIR, through lintian, and as root into a bare Debian, where it is
# tried: package.sh BUILD_DIR
set -euo pipefail
build=$(cd "${1:?usage: package.sh BUILD_DIR}" && pwd)
source=$(cd "$(dirname "$0")/.." && pwd)

rm -f "$build"/quillon_*.deb
(cd "$build" && cpack -B "$build")
package=$(echo "$build"/quillon_*.deb)
lintian --allow-root --fail-on error "$package"

if [ "$(id -u)" -ne 0 ]; then
    echo "Only root can have it installed into a bare Debian and tried there."
    exit
fi
root=$(mktemp -d)
trap 'rm -rf "$root"' EXIT
chmod 755 "$root"
debootstrap --variant=minbase bookworm "$root"
cp "$package" "$source/tests/packaging/installed.sh" "$root/root"
chroot "$root" apt-get install -y -q --no-install-recommends "/root/$(basename "$package")"
chroot "$root" /root/installed.sh /usr
chroot "$root" apt-get purge -y -q quillon
echo "$package is good."
