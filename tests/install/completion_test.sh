#!/usr/bin/env bash
# Bash completes commands, options, their values and files, as someone at the keyboard sees it.
source "$(dirname "$0")/check.sh"
PATH=$TREE/bin:$PATH
# shellcheck source=/dev/null
source "$TREE/share/bash-completion/completions/ocamp"

# completions WORD...: what the last word, which may be empty, can become.
completions() {
    COMP_WORDS=("$@")
    COMP_CWORD=$(($# - 1))
    COMPREPLY=()
    _ocamp || true
    printf '%s\n' "${COMPREPLY[@]}" | sort
}

complete -p ocamp | grep -q '_ocamp' || fail "no completion is registered"
commands | while read -r command; do
    read -ra words <<<"$command"
    expect "options after '$command'" "$(options_of "$command" | sort)" "$(completions "${words[@]}" -)"
    if children=$(commands "$command" | sed "s/^$command//; s/^ //" | grep -x '[a-z][a-z]*' | sort); then
        expect "commands after '$command'" "$children" "$(completions "${words[@]}" "")"
    fi
done

expect "one command" "explain" "$(completions ocamp ex)"
expect "a command's own options after others" "--format" "$(completions ocamp explain get --node here --fo)"
expect "formats" "json
xml" "$(completions ocamp get --format "")"
expect "colours" "always
auto
never" "$(completions ocamp explain get --color "")"
expect "operations" "merge
none
replace" "$(completions ocamp edit --default-operation "")"
expect "no values for a number" "" "$(completions ocamp get --log-level "")"

cd "$work"
mkdir node
touch note.json "no such.xml"
expect "folders for a node" "node" "$(completions ocamp get --node "")"
expect "folders for an example" "node" "$(completions ocamp node init new --from n)"
expect "files for an edit" "no such.xml
node
note.json" "$(completions ocamp edit no)"
expect "files for an option" "note.json" "$(completions ocamp get --filter not)"
expect "files after a flag" "note.json" "$(completions ocamp explain edit --node node --calls not)"
expect "nothing for a data path" "" "$(completions ocamp get no)"
