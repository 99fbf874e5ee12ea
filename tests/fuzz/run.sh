#!/usr/bin/env bash
# Fuzzes with every target of the build for so many seconds each; ends at the first finding.
# usage: run.sh BUILD SECONDS
set -euo pipefail
build=$1 seconds=$2
here=$(dirname "${BASH_SOURCE[0]}")

# The dictionary of a target's language, if there is one.
dictionary() {
    case $1 in
    multistatus | active_lock | xml) echo xml ;;
    url | address) echo url ;;
    headers) echo headers ;;
    esac
}

for program in "$build"/bin/fuzz_*; do
    target=${program##*/fuzz_}
    found="$build/corpus/$target" log="$build/fuzz.$target.log"
    mkdir -p "$found"
    options=(-max_total_time="$seconds" -timeout=20 -rss_limit_mb=2048
        -artifact_prefix="$build/$target.")
    words=$(dictionary "$target")
    [ -z "$words" ] || options+=(-dict="$here/dictionaries/$words.dict")
    if ! "$program" "${options[@]}" "$found" "$here/corpus/$target" >"$log" 2>&1; then
        tail -n 60 "$log"
        echo "$target: found something. The input is the file named in \"Test unit written to\"" \
            "above; once it is mended, keep it in tests/fuzz/corpus/$target."
        exit 1
    fi
    echo "$target: $(grep -o 'DONE .* corp: [^ ]*' "$log" | tr -s ' '), $(tail -n 1 "$log")"
done
