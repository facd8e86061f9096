#!/usr/bin/env bash
# Every test under the address and undefined-behaviour sanitizers. Arguments go to CTest.
source "$(dirname "$0")/lib.sh"

build asan
run ctest --preset asan "$@"
