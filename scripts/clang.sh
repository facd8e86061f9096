#!/usr/bin/env bash
# Builds with Clang, warnings as errors, and runs every test. Arguments go to CTest.
source "$(dirname "$0")/lib.sh"

scripts/setup.sh clang
build clang
run ctest --preset clang --parallel "$(nproc)" "$@"
