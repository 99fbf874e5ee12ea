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
same() { diff -u <(printf '%s\n' "$2") <(printf '%s\n' "$3") || { echo "$1 differs" >&2; exit 1; }; }

DESTDIR= cmake --install "$build" --prefix "$work/first" >/dev/null
prefix=$work/prefix
mv "$work/first" "$prefix"
export PKG_CONFIG_PATH=$prefix/lib/pkgconfig PATH=$prefix/bin:$PATH
records=$(pkg-config --cflags-only-I quillon)

# ---- each header alone; -w: a header is the main file here
(cd "$prefix/include/quillon" &&
    "$CXX" -std=c++20 -w -fsyntax-only $records -x c++ client/*.hpp sync/*.hpp \
        platform/http/*.hpp host/*.h &&
    "$CC" -std=c11 -w -fsyntax-only $records -x c host/*.h)

# ---- what a start of the program would take its time for
same "the shared libraries that every start would load in vain" "" \
    "$(readelf -d "$prefix/bin/quillon" | grep -E 'libstdc\+\+|libgcc_s|libfmt|toml|libedit' || true)"

# ---- a page for each command, without a complaint of the formatter
for page in quillon.1 $(quillon __complete '' | sed 's/\t.*/.1/; s/^/quillon-/') quillon-config.5; do
    same "$page in the formatter" "" \
        "$(groff -man -ww -z -K utf8 "$prefix/share/man/man${page##*.}/$page" 2>&1)"
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
quillon 6.1.1
encode: 813FC10D
empty 0
größe.txt 10
sub dir/ 0" "$("$work/c/list" "$prefix/lib/libquillon.so" "$members/" | grep -v '^  log 2: ')"

# ---- the programs in C++, built by either package, and quillon itself, on a server
cmake -S "$source/examples/cpp" -B "$work/cpp" -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
cmake --build "$work/cpp" >/dev/null
for program in fetch keep; do
    "$CXX" -std=c++20 "$source/examples/cpp/$program.cpp" $(pkg-config --cflags --libs quillon) \
        -o "$work/$program"
done

mkfifo "$work/server"
"$build/bin/testserver" --auth basic --directory "$members" >"$work/server" &
server_pid=$!
exec 3<"$work/server"  # stays open: the server may have more to say
IFS=' ' read -r url user password <&3
mkdir "$work/local"
cd "$work/local"
for fetch in "$work/cpp/fetch" "$work/fetch"; do
    same "the output of $fetch" "$(printf 'empty\t0\ngröße.txt\t10\nsub dir/\nfetched größe.txt')" \
        "$("$fetch" "${url}größe.txt" "$user" <<<"$password")"
    cmp größe.txt "$members/größe.txt"
    rm größe.txt
done
same "the listing of the installed program" "empty
größe.txt
sub dir/" "$(quillon ls --user "$user" --password-file <(printf '%s' "$password") "$url")"

# ---- a pair of the one program is the other's, too
keep() { "$1" "$work/pair" "${url/:\/\//://$user@}" <<<"$password" | sort; }
mkdir "$work/pair"
same "the first run" "$(printf 'fetched\tempty\nfetched\tgröße.txt\nmade\tsub dir/')" \
    "$(keep "$work/cpp/keep")"
cmp "$work/pair/größe.txt" "$members/größe.txt"
mv "$work/pair/größe.txt" "$work/pair/sub dir/moved"
same "the next run" "$(printf 'moved\tsub dir/moved')" "$(keep "$work/keep")"
[ -s "$members/sub dir/moved" ]
same "the state" "$work/pair and $url
Both sides are the same." \
    "$(quillon status --password-file <(printf '%s' "$password") "$work/pair")"
