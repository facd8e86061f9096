#!/usr/bin/env bash
# The hunts of docs/why.md give, command by command, what is printed there. From CTest: BUILD (the build tree), SOURCE.
set -euo pipefail
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"
PATH=$BUILD/bin:$PATH
ocamp node init demo-node --from "$SOURCE/examples/node" >/dev/null

command="" printed="" status=0 count=0
# Runs the command collected last and compares. What a file is shown to hold, it is made to hold.
compare() {
    [ -n "$command" ] || return 0
    count=$((count + 1))
    if [[ $command == "cat "* ]]; then
        printf '%s' "$printed" >"${command#cat }"
    elif ! diff <(printf '%s' "$printed") <(bash -o pipefail -c "$command" 2>&1) >"$work/difference"; then
        printf '%s\n' "$command" "$(cat "$work/difference")" >&2
        status=1
    fi
}
while IFS= read -r line; do
    if [[ $line == "    $ "* ]]; then
        compare
        command=${line#    $ } printed=""
    elif [[ $line == "    "* ]]; then
        printed+=${line#    }$'\n'
    fi
done <"$SOURCE/docs/why.md"
compare
[ "$count" -ge 10 ] || { echo "only $count commands found" >&2; exit 1; }
exit $status
