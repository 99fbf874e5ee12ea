# Completion of quillon's command lines in bash: the program itself says what a word may become.

# The words up to the cursor, unquoted, in the array words: bash cuts words at ":" and "=", too, and
# one without a blank before it belongs to the one before. In lead: what of the last word stands
# before the part that bash completes. In quote: the quotation mark that this part begins with.
_quillon_words() {
    local rest=${COMP_LINE:0:COMP_POINT} part plain i
    words=()
    for ((i = 0; i <= COMP_CWORD; i++)); do
        part=${COMP_WORDS[i]}
        if [[ $i -eq 0 || $rest == [[:blank:]]* ]]; then
            rest=${rest#"${rest%%[![:blank:]]*}"}
            words+=("")
        fi
        lead=${words[-1]} quote=
        [[ $rest == "$part"* ]] || part=$rest # the cursor is inside of it
        rest=${rest#"$part"}
        case $part in
        [\"\']*) quote=${part:0:1} plain=${part:1} plain=${plain%"$quote"} ;;
        *) IFS= read plain <<<"$part" ;; # takes backslashes away
        esac
        words[-1]+=$plain
        [[ $part && $part != *[!:=]* ]] && lead=${words[-1]}
    done
}

_quillon() {
    local words lead quote line word more=
    _quillon_words
    COMPREPLY=()
    while IFS= read -r line; do
        case $line in
        :*) more=$line ;;
        *)
            word=${line%%$'\t'*} word=${word#"$lead"}
            [[ $quote ]] || printf -v word %q "$word"
            COMPREPLY+=("$word")
            ;;
        esac
    done < <("${words[0]}" __complete "${words[@]:1}" 2>/dev/null)
    case $more in
    :files) compopt -o default ;;
    :directories) compopt -o dirnames ;;
    esac
    # The default is bash's own only where nothing else fits.
    if [[ $more == :files && ${#COMPREPLY[@]} -gt 0 && ! $lead ]]; then
        while IFS= read -r line; do
            [[ -d $line ]] && line+=/
            [[ $quote ]] && word=$line || printf -v word %q "$line"
            COMPREPLY+=("$word")
        done < <(compgen -f -- "${words[-1]}")
    fi
    [[ ${#COMPREPLY[@]} -eq 1 && ${COMPREPLY[0]} == *[/:=] ]] && compopt -o nospace
}

complete -F _quillon quillon
