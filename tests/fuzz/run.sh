#!/usr/bin/env bash
# Fuzzes with the named targets of the build, or all, for so many seconds each; ends at the first
# finding.
# usage: run.sh BUILD SECONDS [TARGET...]
set -euo pipefail
build=$1 seconds=$2
shift 2
here=$(dirname "${BASH_SOURCE[0]}")

programs=("$build"/bin/fuzz_*)
[ $# -gt 0 ] || set -- "${programs[@]##*/fuzz_}"
for target; do
    found="$build/corpus/$target" log="$build/fuzz.$target.log"
    mkdir -p "$found"
    options=(-max_total_time="$seconds" -timeout=20 -rss_limit_mb=2048
        -artifact_prefix="$build/$target.")
    words=$here/dictionaries/$target.dict
    [ ! -e "$words" ] || options+=(-dict="$words")
    if ! "$build/bin/fuzz_$target" "${options[@]}" "$found" "$here/corpus/$target" >"$log" 2>&1; then
        tail -n 60 "$log"
        echo "$target: found something. The input is the file named in \"Test unit written to\"" \
            "above; once it is mended, keep it in tests/fuzz/corpus/$target."
        exit 1
    fi
    echo "$target: $(grep -o 'DONE .* corp: [^ ]*' "$log" | tr -s ' '), $(tail -n 1 "$log")"
done
