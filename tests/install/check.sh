# Shared by the tests here. They get from CTest: BUILD (the build tree), TREE (the installed tree), LIBDIR (its library
# folder), VERSION, CXX and CXXFLAGS (to build what loads the plug-in).
set -euo pipefail
here=$(dirname "${BASH_SOURCE[0]}")
ocamp=$TREE/bin/ocamp
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

fail() {
    echo "$*" >&2
    exit 1
}

# expect WHAT EXPECTED ACTUAL
expect() {
    [ "$2" = "$3" ] || fail "$1 differs:
$(diff <(printf '%s\n' "$2") <(printf '%s\n' "$3"))"
}

# Every command of ocamp, one a line, the program first: "ocamp", "ocamp get" ... Those that its help tells.
commands() {
    local command=${1:-ocamp} word
    echo "$command"
    for word in $(help_of "$command" | sed -n '/^Subcommands:/,/^$/s/^  \([a-z]*\) .*/\1/p'); do
        commands "$command $word"
    done
}

# help_of COMMAND
help_of() {
    # shellcheck disable=SC2086 # a command may be several words
    "$TREE/bin/"$1 --help
}

# options_of COMMAND: one a line, such as --help.
options_of() {
    help_of "$1" | sed -n 's/^  \(-[^ ]*\).*/\1/p' | tr , '\n'
}
