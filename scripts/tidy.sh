#!/usr/bin/env bash
# Runs clang-tidy over the plug-in, the platform and the tools, and its check of names over tests and benchmarks.
source "$(dirname "$0")/lib.sh"

scripts/setup.sh clang-tidy clang
run cmake --preset clang >/dev/null
run cmake --build --preset clang
mapfile -t files < <(git ls-files 'oc-amplifier/*.cpp' 'platform/*.cpp' 'tools/*.cpp')
printf '%s\n' "${files[@]}" | run xargs -P "$(nproc)" -n 4 clang-tidy -p build-clang --quiet --warnings-as-errors='*'

# Those that were built: the fuzz targets have a build of their own.
mapfile -t named < <(git ls-files 'tests/*.cpp' 'bench/*.cpp' | while read -r file; do
    grep -q "/$file\"" build-clang/compile_commands.json && echo "$file"
done)
printf '%s\n' "${named[@]}" | run xargs -P "$(nproc)" -n 4 clang-tidy -p build-clang --quiet --warnings-as-errors='*' \
    --checks='-*,readability-identifier-naming' --header-filter='(tests|bench)/'
