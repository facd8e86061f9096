#!/usr/bin/env bash
# Runs clang-tidy over the plug-in, the platform, the server, the line and the tools, and its check of names over tests and benchmarks; with
# --changed only over the rooms in which something has changed since the last landing.
source "$(dirname "$0")/lib.sh"

# changed_rooms: the folders of the plug-in's, the platform's and the tools' code in which something differs from the last
# landing: from where this branch left origin's main, or on main itself from the landing before. All rooms where neither
# is known, and where the checks themselves have changed.
changed_rooms() {
    local landing
    landing=$(git merge-base HEAD origin/main 2>/dev/null || true)
    [ "$landing" != "$(git rev-parse HEAD)" ] || landing=$(git rev-parse --quiet --verify 'HEAD^1' || true)
    if [ -z "$landing" ] || ! git diff --quiet "$landing" -- .clang-tidy; then
        printf '%s\n' "${places[@]}"
    else
        # The plug-in's headers are compiled with its sources.
        git diff --name-only "$landing" -- "${places[@]}" | xargs -r dirname | sed 's#^oc-amplifier/include$#oc-amplifier/src#' |
            sort -u
    fi
}

places=(oc-amplifier platform server line tools)
rooms=("${places[@]}")
[ "${1:-}" != --changed ] || mapfile -t rooms < <(changed_rooms)
echo "rooms: ${rooms[*]:-none}" >&2
[ ${#rooms[@]} -gt 0 ] || exit 0

scripts/setup.sh clang-tidy clang
run cmake --preset clang >/dev/null
# Headers that the build makes.
mapfile -t made < <(ninja -C build-clang -t targets all | sed -n 's/^\([^/].*\.\(inc\|h\)\): .*/\1/p')
run ninja -C build-clang "${made[@]}" >/dev/null
mapfile -t files < <(git ls-files "${rooms[@]}" | grep '\.cpp$')
[ ${#files[@]} -gt 0 ] || exit 0
printf '%s\n' "${files[@]}" | run xargs -P "$(nproc)" -n 4 clang-tidy -p build-clang --quiet --warnings-as-errors='*'

[ "${1:-}" != --changed ] || exit 0
# Those that were built: the fuzz targets have a build of their own.
mapfile -t named < <(git ls-files 'tests/*.cpp' 'bench/*.cpp' | while read -r file; do
    grep -q "/$file\"" build-clang/compile_commands.json && echo "$file"
done)
printf '%s\n' "${named[@]}" | run xargs -P "$(nproc)" -n 4 clang-tidy -p build-clang --quiet --warnings-as-errors='*' \
    --checks='-*,readability-identifier-naming' --header-filter='(tests|bench)/'
