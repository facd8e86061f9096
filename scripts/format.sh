#!/usr/bin/env bash
# Formats every source file; with --check only says which ones are not.
source "$(dirname "$0")/lib.sh"

scripts/setup.sh clang-format
mapfile -t files < <(git ls-files '*.h' '*.cpp' '*.c')
mode=(-i)
[ "${1:-}" = --check ] && mode=(--dry-run --Werror)
echo "+ clang-format ${mode[*]} (${#files[@]} files)" >&2
clang-format "${mode[@]}" "${files[@]}"
