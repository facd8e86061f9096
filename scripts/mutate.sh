#!/usr/bin/env bash
# Changes the sources one place at a time in a copy of the tree and says which tests notice:
# mutate.sh [--seed S] [--count N] [--own] [ROOM...]; --help tells more. Survivors are killed by a test or explained in
# tests/mutants.txt.
source "$(dirname "$0")/lib.sh"

scripts/setup.sh binutils clang util-linux
run python3 tests/mutation/mutate.py "$@"
