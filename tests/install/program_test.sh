#!/usr/bin/env bash
# The installed ocamp runs the installed plug-in, wherever the tree was moved to.
source "$(dirname "$0")/check.sh"

plugin=$LIBDIR/oc-amplifier/liboc-amplifier.so
expect "version" "ocamp $VERSION
plug-in $TREE/$plugin" "$("$ocamp" --version)"

cp -r "$TREE" "$work/moved"
moved=$work/moved/bin/ocamp
expect "version of the moved program" "ocamp $VERSION
plug-in $work/moved/$plugin" "$("$moved" --version)"

"$moved" node init "$work/node" --from "$work/moved/share/oc-amplifier/examples/node" >/dev/null
gain="/optical-amplifier/amplifiers/amplifier[name='0/2-AMP-BST']/config/target-gain"
"$moved" edit --node "$work/node" "$work/moved/share/oc-amplifier/examples/requests/edit-target-gain.json" >/dev/null
"$moved" get --node "$work/node" "$gain" | grep -qF '"target-gain": "15.5"' || fail "the example edit is not read back"

# Without the plug-in the version is told all the same, and a read says what is missing.
rm "$work/moved/$plugin"
"$moved" --version | grep -qx "ocamp $VERSION" || fail "no version without plug-in"
"$moved" --version | grep -q "^no plug-in liboc-amplifier.so" || fail "a missing plug-in is not told by --version"
status=0
"$moved" get --node "$work/node" "$gain" >"$work/out" 2>"$work/err" || status=$?
expect "status of a read without plug-in" 2 "$status"
grep -q "^ocamp: no plug-in liboc-amplifier.so .*expected --plugin FILE$" "$work/err" || fail "$(cat "$work/err")"

# What is loaded is bound at the start and then write protected, no stack is executed, and buffers are guarded.
for file in "$TREE"/bin/* "$TREE/$plugin"; do
    told=$(readelf --wide --dynamic --segments --dyn-syms "$file") || fail "$file is no ELF file"
    grep -qE "BIND_NOW|Flags:.* NOW" <<<"$told" || fail "$file is not bound when it is loaded"
    grep -q GNU_RELRO <<<"$told" || fail "$file has no table that is write protected"
    grep -qE "GNU_STACK.* RW +0x" <<<"$told" || fail "$file has a stack that can be executed"
    grep -q __stack_chk_fail <<<"$told" || fail "$file does not guard its buffers"
done
