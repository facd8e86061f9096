# Bash completion for ocamp. Commands and options are those that its own help tells, so that none is listed here again.

# Completes the word at the cursor. Prints nothing: the answer is COMPREPLY.
_ocamp() {
    local word=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
    local command=("${COMP_WORDS[0]}") help commands at
    for ((at = 1; at <= COMP_CWORD; ++at)); do
        help=$("${command[@]}" --help 2>/dev/null) || return
        commands=$(sed -n '/^Subcommands:/,/^$/s/^  \([a-z]*\) .*/\1/p' <<<"$help")
        # A command's name belongs to the command line only up to the word at the cursor.
        ((at < COMP_CWORD)) && grep -qxF -- "${COMP_WORDS[at]}" <<<"$commands" || break
        command+=("${COMP_WORDS[at]}")
    done

    # The kind of value that is wanted, DIR or FILE for one: that of the option before the cursor, or of an argument.
    local wanted
    wanted=$(sed -n 's/^  \(-[^ ]*\) \([A-Z][A-Z]*\)\([ :=].*\)*$/\1 \2/p' <<<"$help" |
        awk -v option="$previous" '$1 == option { print $2 }')
    if [[ -z $wanted && $word != -* ]]; then
        wanted=$(sed -n '/^Positionals:/,/^$/s/^  \(DIR\|FILE\) .*/\1/p' <<<"$help")
    fi
    case $wanted in
        DIR | EXAMPLE) mapfile -t COMPREPLY < <(compgen -d -- "$word") ;;
        FILE) mapfile -t COMPREPLY < <(compgen -f -- "$word") ;;
        FORMAT) mapfile -t COMPREPLY < <(compgen -W "json xml" -- "$word") ;;
        WHEN) mapfile -t COMPREPLY < <(compgen -W "always auto never" -- "$word") ;;
        OPERATION) mapfile -t COMPREPLY < <(compgen -W "merge replace none" -- "$word") ;;
        ?*) COMPREPLY=() ;;
        *)
            [[ $word == -* ]] && commands=$(sed -n 's/^  \(-[^ ]*\).*/\1/p' <<<"$help" | tr , '\n')
            mapfile -t COMPREPLY < <(compgen -W "$commands" -- "$word")
            return
            ;;
    esac
    # Bash alone knows how names of files are quoted and folders go on.
    [[ $wanted == DIR || $wanted == EXAMPLE || $wanted == FILE ]] && compopt -o filenames 2>/dev/null
}

complete -F _ocamp ocamp
