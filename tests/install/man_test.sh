#!/usr/bin/env bash
# Every command has a man page that tells all its options and no other, the programs' pages list every command, the server's
# page tells the options with their defaults, and all pages are clean to the formatter.
source "$(dirname "$0")/check.sh"

# page NAME: the formatted page, whose lines are wide enough to stay whole.
page() {
    local text
    text=$(groff -man -Tascii -rLL=200n -ww -P-cbou "$TREE/share/man/man${1##*.}/$1" 2>"$work/warnings")
    [ -s "$work/warnings" ] && fail "$1: $(cat "$work/warnings")"
    grep -q "oc-amplifier $VERSION" <<<"$text" || fail "$1 lacks version $VERSION"
    printf '%s\n' "$text"
}
# section TITLE, of a page from standard input
section() {
    sed -n "/^$1\$/,/^[A-Z]/p"
}

# The options that a page from standard input tells, sorted, one a line.
options_told() {
    section OPTIONS | grep -oE '^ {5,7}-[^ ]+( --[^ ]+)?' | grep -oE -- '-[^ ,]+' | sort
}
# The commands that a page from standard input lists, sorted, one a line.
commands_listed() {
    section COMMANDS | sed -n 's/^ *\(ocamp-[a-z-]*\)(1).*/\1/p' | sort
}

# Commands that only group others have no page of their own.
leaves=$(commands | while read -r command; do
    help_of "$command" | grep -q '^Subcommands:' || echo "${command// /-}"
done | sort)
expect "commands of ocamp.1" "$leaves" "$(page ocamp.1 | commands_listed)"
expect "installed pages" "$(printf '%s\n' ocamp ocamp-gnmi ocampd "$leaves" | sort)" "$(cd "$TREE/share/man/man1" && printf '%s\n' *.1 | sed 's/\.1$//' | sort)"

for name in $leaves; do
    text=$(page "$name.1")
    # The server's options are its own; its page says where they are told.
    [ "$name" = ocamp-serve ] || expect "options of $name.1" "$(options_of "${name//-/ }" | sort)" \
        "$(options_told <<<"$text")"
    [ -n "$(section OPTIONS <<<"$text" | sed '1d;/^[A-Z]/d;/^ *$/d')" ] || ! grep -q '^OPTIONS$' <<<"$text" ||
        fail "$name.1 has an empty section of options"
    grep -q "Exit status: 0 done" <<<"$text" || fail "$name.1 tells no exit status"
done

grep -qF "'ocamp serve --help' tells the options" <<<"$(page ocamp-serve.1 | tr -s ' \n' ' ')" ||
    fail "ocamp-serve.1 does not tell where the options are"

text=$(page ocampd.1)
expect "options of ocampd.1" "$(options_of ocampd | sort)" "$(options_told <<<"$text")"
# Such as "--max-sessions 256", of the help's "--max-sessions N=256" and the page's "Default: 256."
expect "defaults of ocampd.1" "$(help_of ocampd | sed -n 's/^  \(--[a-z-]*\) [^=]*=\([^ ]*\).*/\1 \2/p' | sort)" \
    "$(section OPTIONS <<<"$text" | awk '$1 ~ /^--/ { name = $1 } match($0, /Default: .*\./) { print name, substr($0, RSTART + 9, RLENGTH - 10) }' | sort)"

expect "commands of ocamp-gnmi.1" "$(grep '^ocamp-gnmi-' <<<"$leaves")" "$(page ocamp-gnmi.1 | commands_listed)"

text=$(page ocamp-node.5)
for file in node.db node.queue native/ sysdb/; do
    grep -qF "$file" <<<"$text" || fail "ocamp-node.5 does not tell of $file"
done
