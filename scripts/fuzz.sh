#!/usr/bin/env bash
# Runs every fuzz target for SECONDS of processor time each (default 60) under the sanitizers, and prints what each of
# them tried. What they find that is new stays in build-fuzz/corpus; scripts/fuzz_seeds.sh makes seeds of it.
source "$(dirname "$0")/lib.sh"

seconds=${1:-60}
if ! [[ $seconds =~ ^[1-9][0-9]*$ ]]; then
    echo "fuzz.sh: SECONDS is a whole number above 0, not '$seconds'" >&2
    exit 2
fi
scripts/setup.sh clang libclang-rt-14-dev
build fuzz
mapfile -t targets <build-fuzz/fuzz-targets.txt
run python3 tests/fuzz/fuzz.py build-fuzz "$seconds" "${targets[@]}"
