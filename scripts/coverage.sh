#!/usr/bin/env bash
# Line and branch coverage of the plug-in and the platform by their tests.
source "$(dirname "$0")/lib.sh"

scripts/setup.sh gcovr
build coverage
run ctest --preset coverage --parallel "$(nproc)" --output-on-failure "$@" >/dev/null
run gcovr --root . --filter 'oc-amplifier/src/' --filter 'oc-amplifier/include/' --filter 'platform/' \
    --exclude-unreachable-branches --exclude-throw-branches build-coverage
