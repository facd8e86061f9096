#!/usr/bin/env bash
# Builds everything with Clang under the address and undefined-behaviour sanitizers and runs every test; with --part, as CI
# does, all programs and the tests of the plug-in, the platform and the fuzz targets' corpora. Further arguments go to CTest.
source "$(dirname "$0")/lib.sh"

targets=()
tests=()
if [ "${1:-}" = --part ]; then
    shift
    targets=(sanitized_part)
    tests=(--label-regex '^(plugin|platform|fuzz)$')
fi
scripts/setup.sh clang libclang-rt-14-dev
build asan "${targets[@]}"
run ctest --preset asan --parallel "$(nproc)" "${tests[@]}" "$@"
