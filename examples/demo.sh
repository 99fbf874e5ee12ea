#!/usr/bin/env bash
# quillon at work on a private Apache: examples/demo.sh BUILD_DIR
set -euo pipefail
build=$(cd "${1:?usage: demo.sh BUILD_DIR}" && pwd)
PATH=$build/bin:$PATH
export LC_ALL=C.UTF-8

work=$(mktemp -d)
server_pid=
finish() {
    [ -z "$server_pid" ] || kill "$server_pid" 2>/dev/null || true
    rm -rf "$work"
}
trap finish EXIT
chmod 755 "$work"
# Nothing of the person who runs this is read or changed.
mkdir "$work/home" "$work/members"
export HOME=$work/home
unset XDG_CACHE_HOME XDG_CONFIG_HOME VISUAL EDITOR http_proxy https_proxy all_proxy

# show COMMAND...: prints the command as it would be typed, then runs it.
show() {
    local line='$' word
    for word in "$@"; do
        if [[ $word =~ ^[A-Za-z0-9_./:=%-]+$ ]]; then line+=" $word"
        else line+=" '${word//\'/\'\\\'\'}'"; fi
    done
    printf '%s\n' "$line"
    "$@"
    echo
}

same() { cmp "$1" "$2" || { echo "demo: $1 differs from $2" >&2; exit 1; }; }
fail() { echo "demo: $*" >&2; exit 1; }

# ---- the members, on the server's disk
members=$work/members
printf 'Fetched whole.\n' >"$members/Quarterly report.txt"
printf 'Größe;Maß\n1;2\n' >"$members/Übersicht.csv"
printf 'done\n' >"$members/100% done.txt"
printf 'first\n' >"$members/notes #1.txt"
head -c 300000 /dev/urandom >"$members/🦊 fox.bin"
mkdir "$members/Drafts & ideas"
printf 'This is a draft.\n' >"$members/Drafts & ideas/letter.txt"

# ---- the server
mkfifo "$work/server"
testserver --auth basic --directory "$members" >"$work/server" &
server_pid=$!
exec 3<"$work/server"
IFS=' ' read -r url user password <&3 || fail "no server"
cd "$work/home"
(umask 077; printf '%s\n' "$password" >password)
login=(--user "$user" --password-file password)

# ---- reading
show quillon "${login[@]}" ls -l "$url"
show quillon "${login[@]}" info "${url}Übersicht.csv"
show quillon "${login[@]}" get "${url}Quarterly report.txt" -o report.txt
same report.txt "$members/Quarterly report.txt"
mkdir fetched
show quillon "${login[@]}" get "${url}100% done.txt" "${url}notes #1.txt" "${url}🦊 fox.bin" -O fetched
for name in "100% done.txt" "notes #1.txt" "🦊 fox.bin"; do
    same "fetched/$name" "$members/$name"
done

# ---- writing
printf 'Written by one person.\n' >'new text.txt'
show quillon "${login[@]}" put 'new text.txt' "$url"
same 'new text.txt' "$members/new text.txt"
printf 'Written again.\n' >'new text.txt'
show quillon "${login[@]}" put 'new text.txt' "${url}new text.txt"
same 'new text.txt' "$members/new text.txt"
printf '#!/bin/sh\nsed -i s/draft/letter/ "$1"\n' >"$work/home/editor"
chmod +x editor
export EDITOR=$work/home/editor
show cat editor
show quillon "${login[@]}" edit "${url}Drafts & ideas/letter.txt"
show quillon "${login[@]}" get "${url}Drafts & ideas/letter.txt" -o -
[ "$(cat "$members/Drafts & ideas/letter.txt")" = "This is a letter." ] || fail "edit was lost"
show quillon "${login[@]}" lock "${url}notes #1.txt" -- sed -i s/first/second/
[ "$(cat "$members/notes #1.txt")" = second ] || fail "the change under a lock was lost"
show quillon "${login[@]}" mv "${url}100% done.txt" '200% done.txt'
[ -f "$members/200% done.txt" ] || fail "mv did not rename"
show quillon "${login[@]}" mkcol "${url}Archive/"
[ -d "$members/Archive" ] || fail "mkcol made nothing"
show quillon "${login[@]}" rm "${url}🦊 fox.bin"
[ ! -e "$members/🦊 fox.bin" ] || fail "rm left the member"
show quillon "${login[@]}" rmcol "${url}Archive/"
[ ! -e "$members/Archive" ] || fail "rmcol left the collection"
show quillon "${login[@]}" ls "$url"

# ---- what the server saw
kill "$server_pid"
IFS= read -r summary <&3 || fail "the server ended badly"
wait "$server_pid"
server_pid=
echo "The server saw $summary."
