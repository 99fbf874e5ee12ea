#!/usr/bin/env bash
# Compares the symbols of the built extension with symbols.txt, and looks at what it is linked
# against: symbols.sh LIBRARY
set -euo pipefail
export LC_ALL=C
library=$1
list=$(dirname "$0")/symbols.txt

# Weak ones (w) are the linker's own.
present=$(nm -D "$library" | awk '{ print $(NF-1), $NF }' | sed 's/@.*//' | grep -v '^w ' | sort)
listed=$(awk '!/^#/ { for (i = 2; i <= NF; i++) print $1, $i }' "$list" | sort)

failed=0
complain() {
    [ -z "$2" ] && return
    printf '%s:\n%s\n' "$1" "$2"
    failed=1
}
complain "not in symbols.txt" "$(comm -23 <(echo "$present") <(echo "$listed"))"
complain "missing from the library" \
    "$(comm -13 <(echo "$present") <(echo "$listed") | grep -v '^U ' || true)"
complain "linked against more than the C library" \
    "$(readelf -d "$library" | grep NEEDED | grep -v '\[libc\.so\.6\]' || true)"
exit $failed
