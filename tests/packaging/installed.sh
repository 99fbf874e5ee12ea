#!/bin/sh
# What a package has put below PREFIX is there and works: installed.sh PREFIX
set -eu
prefix=$1
fail() { echo "$*" >&2; exit 1; }

quillon=$prefix/bin/quillon
"$quillon" --version
for page in quillon $("$quillon" __complete '' | cut -f1 | sed 's/^/quillon-/'); do
    gzip -t "$prefix/share/man/man1/$page.1.gz"
done
gzip -t "$prefix/share/man/man5/quillon-config.5.gz"
for file in lib/libquillon.so lib/libquillon_client.a lib/libquillon_sync.a lib/libvxhost.a lib/pkgconfig/quillon.pc \
    lib/cmake/quillon/quillon-config.cmake include/quillon/client/collection.hpp \
    include/quillon/host/quillon.h include/quillon/sync/working_copy.hpp share/bash-completion/completions/quillon \
    share/zsh/vendor-completions/_quillon share/fish/vendor_completions.d/quillon.fish \
    share/doc/quillon/copyright share/doc/quillon/changelog.gz; do
    [ -s "$prefix/$file" ] || fail "$prefix/$file is missing"
done

# The program finds the extension, which asks the server; nobody listens at that port.
home=$(mktemp -d)
code=0
HOME=$home XDG_CACHE_HOME= "$quillon" info http://127.0.0.1:9/ || code=$?
rm -rf "$home"
[ "$code" -eq 7 ] || fail "quillon info ended with $code"
