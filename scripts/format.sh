#!/usr/bin/env bash
# Formats every source file; with --check only says which ones are not.
source "$(dirname "$0")/lib.sh"

scripts/setup.sh clang-format
mapfile -t files < <(git ls-files '*.h' '*.cpp' '*.c')
if [ "${1:-}" = --check ]; then
    run clang-format --dry-run --Werror "${files[@]}"
else
    run clang-format -i "${files[@]}"
fi
