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
expect "formats of gnmi" "flat
json" "$(completions ocamp gnmi get --format "")"
expect "words that the help tells" "ascii
bytes
json
json_ietf
proto" "$(completions ocamp gnmi set --encoding "")"
expect "words that the help tells on two lines" "on-change
sample
target-defined" "$(completions ocamp gnmi subscribe --stream-mode "")"
expect "the beginning of a word" "sample" "$(completions ocamp gnmi subscribe --stream-mode s)"
expect "no values for a time" "" "$(completions ocamp gnmi get --timeout "")"
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

# As bash has the line while it is typed: it takes words apart at quotes and equal signs, and shows the whole line.
# completions_of LINE LAST_WORD
completions_of() {
    local words
    read -ra words <<<"$1"
    COMP_LINE=$1
    COMP_POINT=${#1}
    words[${#words[@]} - 1]=$2
    completions "${words[@]}"
    COMP_LINE= COMP_POINT=0
}
ocamp node init "$work/line" --from "$TREE/share/oc-amplifier/examples/node" >/dev/null
list=/optical-amplifier/amplifiers/amplifier
expect "the root of the model" "/optical-amplifier/" "$(completions ocamp get "")"
expect "nodes of the model" "$list/config/target-gain
$list/config/target-gain-tilt" "$(completions ocamp get "$list/config/t")"
expect "amplifiers of the node, in quotes" "\"${list}[name='0/2-AMP-BST']/
\"${list}[name='0/2-AMP-PRE']/" "$(completions_of "ocamp get --node $work/line \"${list}[name='0/2" "\"${list}[name='0/2")"
expect "behind an equal sign" "'0/2-AMP-BST']/
'0/2-AMP-PRE']/" "$(completions_of "ocamp get -n $work/line \"${list}[name='0/2" "'0/2")"
expect "amplifiers without quotes" "$list/
${list}\\[name\\=\\'0/1-AMP-BST\\'\\]/
${list}\\[name\\=\\'0/1-AMP-PRE\\'\\]/
${list}\\[name\\=\\'0/2-AMP-BST\\'\\]/
${list}\\[name\\=\\'0/2-AMP-PRE\\'\\]/" "$(completions_of "ocamp get -n $work/line $list" "$list" | grep -v amplifiers/$)"
expect "amplifiers of the usual node" 4 "$(OCAMP_NODE=$work/line completions_of "ocamp get \"${list}[" "\"${list}[" | wc -l)"
expect "ports of the native models" "\"/ots-oper/ots-ports/ots-port[name='Ots0/1/0/0']/
\"/ots-oper/ots-ports/ots-port[name='Ots0/1/0/1']/" \
    "$(completions_of "ocamp native get -n $work/line \"/ots-oper/ots-ports/ots-port[name='Ots0/1" "\"/ots-oper/ots-ports/ots-port[name='Ots0/1")"
expect "a leaf ends its quotes" "\"$list/config/enabled\"" "$(completions_of "ocamp get \"$list/config/e" "\"$list/config/e")"
expect "through what has no choice, in quotes" "\"/optical-amplifier/amplifiers/
\"/optical-amplifier/supervisory-channels/" "$(completions_of 'ocamp get "/opt' '"/opt')"
expect "nothing for what quotes are missing around" "" \
    "$(completions_of "ocamp get -n $work/line ${list}[name='0/2" "'0/2")"
expect "no such path" "" "$(completions ocamp get no)"
expect "commands behind options" "watch" "$(completions ocamp --node "$work/line" wa)"
expect "folders before the command" "node" "$(completions ocamp --node no)"
