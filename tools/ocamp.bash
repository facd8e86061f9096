# Bash completion for ocamp. Commands and options are those that its own help tells, and paths those that it knows of the
# models and of the node, so that none is listed here again.

# The value of the option among the words before the cursor; the last one counts.
_ocamp_value_of() {
    local at
    for ((at = COMP_CWORD - 1; at > 0; --at)); do
        case ${COMP_WORDS[at]} in
            "$1" | "$2") echo "${COMP_WORDS[at + 1]}" && return ;;
            "$2"=*) echo "${COMP_WORDS[at]#*=}" && return ;;
        esac
    done
}

# Completes a data path. Bash takes it apart at quotes, colons and equal signs: it is put together again from the words
# that have no blank between them, and of what it can become only what is behind the cursor's word is handed back.
_ocamp_paths() {
    local word=${COMP_WORDS[COMP_CWORD]} whole line=${COMP_LINE-} quote= at
    line=${line:0:${COMP_POINT-0}}
    whole=$word
    # Everything behind the last blank; no path has one.
    [[ -n $line ]] && whole=${line##*[[:blank:]]}
    local begun=$whole
    [[ $begun == [\"]* ]] && quote=${begun:0:1} && begun=${begun:1}
    # Without an open quote every character of a path that the shell takes for its own is behind a backslash.
    [[ -z $quote ]] && begun=${begun//\\/}
    local ask=("${COMP_WORDS[0]}" complete)
    [[ $1 == native ]] && ask+=(--native)
    local node
    node=$(_ocamp_value_of -n --node)
    [[ -n $node ]] && ask+=(--node "${node//[\"\']/}")
    [[ -n $begun ]] && ask+=(-- "$begun")
    mapfile -t COMPREPLY < <("${ask[@]}" 2>/dev/null)
    # Inside quotes bash ends the word behind a single answer: one that only leads on is followed to where there is a
    # choice.
    while [[ -n $quote && -n $begun && ${#COMPREPLY[@]} -eq 1 && ${COMPREPLY[0]} == */ ]]; do
        ask[-1]=${COMPREPLY[0]}
        mapfile -t COMPREPLY < <("${ask[@]}" 2>/dev/null)
    done
    # One entry or one container may go on: the cursor stays at the word.
    compopt -o nospace 2>/dev/null
    local before=${whole%"$word"}
    for at in "${!COMPREPLY[@]}"; do
        local found=${COMPREPLY[at]}
        [[ -z $quote ]] && found=$(sed "s/[]='\"[]/\\\\&/g" <<<"$found")
        [[ -n $quote && $found != */ ]] && found+=$quote
        found=$quote$found
        # What was typed in another form, such as brackets without backslashes, cannot be gone on with.
        [[ $found == "$before"* ]] || { COMPREPLY=(); return; }
        COMPREPLY[at]=${found#"$before"}
    done
}

# The words that an option takes, which its help lists behind a colon: from its line to that of the next option.
_ocamp_words() {
    sed -n "/^  \\(-[a-z],\\)\\?$1 /,/^  -[^ ]* /{ /^  \\(-[a-z],\\)\\?$1 /p; /^   /p }" <<<"$2" | tr -d '\n' | sed 's/.*: *//' | tr -d ','
}

# Completes the word at the cursor. Prints nothing: the answer is COMPREPLY.
_ocamp() {
    local word=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
    local command=("${COMP_WORDS[0]}") help commands at
    help=$("${command[@]}" --help 2>/dev/null) || return
    commands=$(sed -n '/^Subcommands:/,/^$/s/^  \([a-z]*\) .*/\1/p' <<<"$help")
    for ((at = 1; at < COMP_CWORD && ${#commands} > 0; ++at)); do
        # Options may stand before the command, with values or without.
        grep -qxF -- "${COMP_WORDS[at]}" <<<"$commands" || continue
        command+=("${COMP_WORDS[at]}")
        help=$("${command[@]}" --help 2>/dev/null) || return
        commands=$(sed -n '/^Subcommands:/,/^$/s/^  \([a-z]*\) .*/\1/p' <<<"$help")
    done
    # Before the command any option of any command may stand; that of the node is the one that most have.
    local options
    options=$(sed -n 's/^  \(-[^ ]*\).*/\1/p' <<<"$help" | tr , '\n')

    # The kind of value that is wanted, DIR or FILE for one: that of the option before the cursor, or of an argument.
    local wanted
    wanted=$(sed -n 's/^  \(-[^ ]*\) \([A-Z][A-Z]*\)\([ :=].*\)*$/\1 \2/p' <<<"$help" |
        awk -v option="$previous" '{ count = split($1, names, ","); for (i = 1; i <= count; ++i)
                                     if (names[i] == option) print $2 }')
    [[ -z $wanted && -n $commands && ($previous == -n || $previous == --node) ]] && wanted=DIR
    if [[ -z $wanted && $word != -* ]]; then
        wanted=$(sed -n '/^Positionals:/,/^$/s/^  \(DIR\|FILE\|PATH\) .*/\1/p' <<<"$help" | head -n 1)
    fi
    case $wanted in
        DIR | EXAMPLE) mapfile -t COMPREPLY < <(compgen -d -- "$word") ;;
        FILE) mapfile -t COMPREPLY < <(compgen -f -- "$word") ;;
        PATH) _ocamp_paths "${command[1]}" ;;
        FORMAT) mapfile -t COMPREPLY < <(compgen -W "json $([[ ${command[1]} == gnmi ]] && echo flat || echo xml)" -- "$word") ;;
        ENCODING | KIND | MODE)
            # The help ends with the words that there are.
            mapfile -t COMPREPLY < <(compgen -W "$(_ocamp_words "$previous" "$help")" -- "$word")
            ;;
        WHEN) mapfile -t COMPREPLY < <(compgen -W "always auto never" -- "$word") ;;
        OPERATION) mapfile -t COMPREPLY < <(compgen -W "merge replace none" -- "$word") ;;
        ?*) COMPREPLY=() ;;
        *)
            [[ $word == -* ]] && commands=$options
            mapfile -t COMPREPLY < <(compgen -W "$commands" -- "$word")
            return
            ;;
    esac
    # Bash alone knows how names of files are quoted and folders go on.
    [[ $wanted == DIR || $wanted == EXAMPLE || $wanted == FILE ]] && compopt -o filenames 2>/dev/null
}

complete -F _ocamp ocamp
