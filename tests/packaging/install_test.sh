#!/usr/bin/env bash
# Installs into a temporary prefix, moves that elsewhere, and builds and runs the examples against
# it: install_test.sh BUILD_DIR CXX CC
set -euo pipefail
build=$1
export CXX=$2 CC=$3 LC_ALL=C.UTF-8
source=$(cd "$(dirname "$0")/../.." && pwd)

work=$(mktemp -d)
server_pid=
finish() {
    [ -z "$server_pid" ] || kill "$server_pid" 2>/dev/null || true
    rm -rf "$work"
}
trap finish EXIT
chmod 755 "$work"
export HOME=$work/home XDG_CACHE_HOME=$work/cache
mkdir "$HOME"
fail() { echo "install_test: $*" >&2; exit 1; }
same() { diff -u <(printf '%s\n' "$2") <(printf '%s\n' "$3") || fail "$1 differs"; }

DESTDIR= cmake --install "$build" --prefix "$work/first" >/dev/null
mv "$work/first" "$work/prefix"
prefix=$work/prefix
export PKG_CONFIG_PATH=$prefix/lib/pkgconfig
flags=$(pkg-config --cflags --libs quillon)
records=$(pkg-config --cflags-only-I quillon)

# ---- each header alone; -w: a header is the main file here
(cd "$prefix/include/quillon" &&
    "$CXX" -std=c++20 -w -fsyntax-only $records -x c++ client/*.hpp host/*.h &&
    "$CC" -std=c11 -w -fsyntax-only $records -x c host/*.h)

# ---- a page for each command, without a complaint of the formatter
export PATH=$prefix/bin:$PATH
for page in quillon $(quillon __complete '' | sed 's/\t.*//; s/^/quillon-/'); do
    file=$prefix/share/man/man1/$page.1
    [ -f "$file" ] || fail "no manual page $page"
    if command -v groff >/dev/null; then
        same "$page in the formatter" "" "$(groff -man -ww -z -K utf8 "$file" 2>&1)"
    fi
done
for option in $(quillon get --help | grep -o -- '--[a-z-]*' | sort -u); do
    grep -q -- "fB${option//-/\\\\-}" "$prefix/share/man/man1/quillon-get.1" ||
        fail "quillon-get(1) has no $option"
done

# ---- the host in C, on a directory
members=$work/members
mkdir -p "$members/sub dir"
printf 'some text\n' >"$members/größe.txt"
: >"$members/empty"
cmake -S "$source/examples/c" -B "$work/c" -DCMAKE_PREFIX_PATH="$prefix" \
    -DCMAKE_C_FLAGS="-Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror" >/dev/null
cmake --build "$work/c" >/dev/null
same "the output of the host in C" "interface 6.1
quillon, a WebDAV client of a vx host framework
GRÖßE
YW55IGJ5dGVz
  log 2: quillon called
  log 2: quillon returning rc=00000000
quillon 6.1.1
  log 2: quillonPasswordEncrypt called
  log 2: quillonPasswordEncrypt returning rc=813FC10D
encode: 813FC10D
  log 2: quillonCollectionHandleAcquire called
  log 2: quillonCollectionHandleAcquire returning rc=00000000 collp=there
  log 2: quillonCollectionListOpen called
  log 2: quillonCollectionListOpen returning cListp=there
empty 0
größe.txt 10
sub dir/ 0
  log 2: quillonCollectionListClose called
  log 2: quillonCollectionHandleRelease called
  log 2: quillonDestroy called" "$("$work/c/list" "$prefix/lib/libquillon.so" "$members/")"

# ---- the program in C++, built by either package, and quillon itself, on a server
cmake -S "$source/examples/cpp" -B "$work/cpp" -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
cmake --build "$work/cpp" >/dev/null
"$CXX" -std=c++20 "$source/examples/cpp/fetch.cpp" $flags -o "$work/fetch"

mkfifo "$work/server"
"$build/bin/testserver" apache --auth basic --directory "$members" >"$work/server" &
server_pid=$!
exec 3<"$work/server"
IFS=' ' read -r url user password <&3 || fail "no server"
for fetch in "$work/cpp/fetch" "$work/fetch"; do
    rm -rf "$work/local"
    mkdir "$work/local"
    same "the output of $fetch" "$(printf 'empty\t0\ngröße.txt\t10\nsub dir/\t0\nfetched größe.txt')" \
        "$(cd "$work/local" && "$fetch" "${url}größe.txt" "$user" <<<"$password")"
    cmp "$work/local/größe.txt" "$members/größe.txt"
done
same "the listing of the installed program" "empty
größe.txt
sub dir/" "$(quillon ls --user "$user" --password-file <(printf '%s' "$password") "$url")"
