#!/usr/bin/env bash
# Builds everything with Clang under the address and undefined-behaviour sanitizers and runs every test; with --part, as CI
# does, all programs, the tests of the plug-in, the platform and the fuzz targets' corpora, and those of servers and line that run in
# one process; with --thread what has threads, under the thread sanitizer. Further arguments go to CTest.
source "$(dirname "$0")/lib.sh"

preset=asan
targets=()
tests=()
programs=()
case "${1:-}" in
--part)
    shift
    targets=(sanitized_part)
    tests=(--label-regex '^(plugin|platform|fuzz)$')
    programs=(server_test netconf_test gnmi_test line_test)
    ;;
--thread)
    shift
    preset=tsan
    # It brings an allocator of its own, takes more memory than these bounds, and longer than this one.
    tests=(--exclude-regex 'MemoryThatRunsOutIsNoSuccess|DeclarationsOfNamespacesTakeNoMore|EndsWithinTwoSeconds')
    ;;
esac
scripts/setup.sh clang libclang-rt-14-dev
build "$preset" "${targets[@]}"
run ctest --preset "$preset" --parallel "$(nproc)" "${tests[@]}" "$@"
for program in "${programs[@]}"; do
    run "build-$preset/bin/$program" --gtest_brief=1
done
