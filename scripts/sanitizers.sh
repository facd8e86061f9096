#!/usr/bin/env bash
# Builds everything with Clang under the address and undefined-behaviour sanitizers and runs every test. Arguments go to
# CTest.
source "$(dirname "$0")/lib.sh"

scripts/setup.sh clang libclang-rt-14-dev
build asan
run ctest --preset asan --parallel "$(nproc)" "$@"
