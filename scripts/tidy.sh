#!/usr/bin/env bash
# Runs clang-tidy over the plug-in, the platform and the tools.
source "$(dirname "$0")/lib.sh"

scripts/setup.sh clang-tidy clang
run cmake --preset clang >/dev/null
run cmake --build --preset clang
mapfile -t files < <(git ls-files 'oc-amplifier/*.cpp' 'platform/*.cpp' 'tools/*.cpp')
printf '%s\n' "${files[@]}" | run xargs -P "$(nproc)" -n 4 clang-tidy -p build-clang --quiet --warnings-as-errors='*'
