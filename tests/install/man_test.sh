#!/usr/bin/env bash
# The man page tells every command and option that ocamp has and no other, and is clean to the formatter.
source "$(dirname "$0")/check.sh"

page=$TREE/share/man/man1/ocamp.1
text=$(groff -man -Tascii -ww -P-cbou "$page" 2>"$work/warnings")
[ -s "$work/warnings" ] && fail "$(cat "$work/warnings")"
grep -q "oc-amplifier $VERSION" <<<"$text" || fail "the page lacks version $VERSION"

section() {
    sed -n "/^$1\$/,/^[A-Z]/p" <<<"$text"
}
# Commands that only group others have no entry of their own.
leaves=$(commands | while read -r command; do
    help_of "$command" | grep -q '^Subcommands:' || echo "${command#ocamp }"
done | sort)
expect "commands of the man page" "$leaves" \
    "$(section COMMANDS | sed -n 's/^ \{5,7\}\([a-z].*\)/\1/p' | sed 's/   .*//' | tr , '\n' | sed 's/^ *//' | sort)"

options=$(commands | while read -r command; do options_of "$command"; done | sort -u)
expect "options of the man page" "$options" \
    "$(section OPTIONS | grep -o '^ \{5,7\}-.*' | tr , '\n' | sed 's/^ *//; s/ .*//' | sort -u)"
