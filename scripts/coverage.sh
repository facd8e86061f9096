#!/usr/bin/env bash
# Line and branch coverage by room: of the plug-in by its own tests, and of platform, server and line by all tests. Fails when a
# room is below its goal or a branch of the plug-in stays open that tests/coverage/open_branches.txt does not explain. --plugin:
# the plug-in alone; further arguments go to CTest.
source "$(dirname "$0")/lib.sh"

counted() { # FILE FOLDER...: what has been counted so far in these folders
    local report=$1
    shift
    run gcovr --root . "${@/#/--filter=}" --exclude-unreachable-branches --exclude-throw-branches --json "$report" build-coverage
}

targets=(all)
if [ "${1:-}" = --plugin ]; then
    shift
    targets=(plugin_test plugin_guest_test)
fi
scripts/setup.sh gcovr
build coverage "${targets[@]}"
find build-coverage -name '*.gcda' -delete
run build-coverage/bin/plugin_test --gtest_brief=1 >/dev/null
run build-coverage/bin/plugin_guest_test --gtest_brief=1 >/dev/null
counted build-coverage/plugin.json oc-amplifier/
run python3 tests/coverage/coverage.py build-coverage/plugin.json
[ "${targets[0]}" = all ] || exit 0
run ctest --preset coverage --parallel $((2 * $(nproc))) --output-on-failure "$@" >/dev/null
counted build-coverage/rest.json platform/ server/ line/
run python3 tests/coverage/coverage.py build-coverage/rest.json
