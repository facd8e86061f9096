#!/usr/bin/env bash
# Runs every fuzz target for SECONDS each (default 60) under the sanitizers.
source "$(dirname "$0")/lib.sh"

seconds=${1:-60}
scripts/setup.sh clang libclang-rt-14-dev
run cmake -S . -B build-fuzz -G Ninja -DCMAKE_BUILD_TYPE=Debug -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ \
    -DOCAMP_SANITIZE=ON -DOCAMP_FUZZ=ON >/dev/null
targets=(plugin_fuzz bag_fuzz)
run cmake --build build-fuzz --target "${targets[@]}"
for target in "${targets[@]}"; do
    run "build-fuzz/bin/$target" -max_total_time="$seconds" -max_len=4096 -print_final_stats=1 -artifact_prefix=build-fuzz/
done
