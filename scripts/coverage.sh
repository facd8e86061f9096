#!/usr/bin/env bash
# Line and branch coverage by room: of the plug-in by its own tests, and of platform, server and line by all others, but for those
# that make calls fail, install, or feed the fuzz targets. Fails when a room is below its goal or a branch of the plug-in stays
# open that tests/coverage/open_branches.txt does not explain. --plugin: the plug-in alone; further arguments go to CTest.
source "$(dirname "$0")/lib.sh"

counted() { # REPORT FOLDER...: holds what has been counted so far in these folders to their goals
    run python3 tests/coverage/count.py build-coverage "build-coverage/$1.json" "${@:2}"
    run python3 tests/coverage/coverage.py "build-coverage/$1.json"
}

targets=(all)
if [ "${1:-}" = --plugin ]; then
    shift
    targets=(plugin_test plugin_guest_test)
fi
build coverage "${targets[@]}"
find build-coverage -name '*.gcda' -delete
run build-coverage/bin/plugin_test --gtest_brief=1 >/dev/null
run build-coverage/bin/plugin_guest_test --gtest_brief=1 >/dev/null
counted plugin oc-amplifier
[ "${targets[0]}" = all ] || exit 0
# Servers that tests are done with end by themselves: one that is killed writes no counts. Left out are what cannot be while counts
# are written, as no file may be, and loads that are held to a pace which counting halves; others may try again.
OCAMP_COUNTS=1 run ctest --preset coverage --parallel $((2 * $(nproc))) --label-regex '^(platform|server|netconf|gnmi|e2e|line)$' \
    --exclude-regex '^Descriptors.WritesBeyondTheFileSizeLimit|ThousandStreamsTest|HostileStreamsTest' --repeat until-pass:3 \
    --output-on-failure "$@" >/dev/null
counted rest platform server line
