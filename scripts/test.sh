#!/usr/bin/env bash
# Installs, builds and runs every test. Arguments go to CTest, such as `-L plugin`.
source "$(dirname "$0")/lib.sh"

build release
# Tests of servers wait more than they work.
run ctest --preset release --parallel $((2 * $(nproc))) "$@"
