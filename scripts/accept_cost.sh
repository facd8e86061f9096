#!/usr/bin/env bash
# Counts the instructions of the main walks and keeps the figures as those that the test of label cost compares with.
source "$(dirname "$0")/lib.sh"

build release walk_cost
compiler=$(sed -n 's/^set(CMAKE_CXX_COMPILER_\(ID\|VERSION\) "\(.*\)")/\2/p' \
    build/CMakeFiles/*/CMakeCXXCompiler.cmake | xargs)
run tests/cost/instructions.py "$(command -v valgrind)" build/bin/walk_cost "$compiler" --accept
