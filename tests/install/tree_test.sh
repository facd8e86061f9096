#!/usr/bin/env bash
# Installs, and compares what came of it: every file, where it is looked for; every example and every YANG module.
source "$(dirname "$0")/check.sh"

rm -rf "$TREE"
cmake --install "$BUILD" --prefix "$TREE" >/dev/null

expected_files() {
    sed "s,LIBDIR,$LIBDIR," "$here/installed_files.txt"
    commands | while read -r command; do
        help_of "$command" | grep -q '^Subcommands:' || echo "share/man/man1/${command// /-}.1"
    done
    cd "$here/../.."
    find examples -type f -printf 'share/oc-amplifier/%p\n'
    find yang -name '*.yang' -printf 'share/yang/modules/oc-amplifier/%P\n'
}
expect "list of installed files" "$(expected_files | sort)" \
    "$(find "$TREE" \( -type f -o -type l \) -printf '%P\n' | sort)"
