#!/usr/bin/env bash
# Runs every fuzz target for SECONDS each (default 60) under the sanitizers. What they find that is new stays in
# build-fuzz/corpus; scripts/fuzz_seeds.sh makes seeds of it.
source "$(dirname "$0")/lib.sh"

seconds=${1:-60}
scripts/setup.sh clang libclang-rt-14-dev
build fuzz
mapfile -t targets <build-fuzz/fuzz-targets.txt
for target in "${targets[@]}"; do
    mkdir -p "build-fuzz/corpus/$target"
    run "build-fuzz/bin/$target" -max_total_time="$seconds" -max_len=4096 -print_final_stats=1 \
        -dict="tests/fuzz/$target.dict" -artifact_prefix=build-fuzz/ "build-fuzz/corpus/$target" "tests/fuzz/corpus/$target"
done
