#!/usr/bin/env bash
# The example platform builds against the installed tree, found by CMake and by pkg-config, and makes its walk.
source "$(dirname "$0")/check.sh"

example=$TREE/share/oc-amplifier/examples/embed
warnings="-Wall -Wextra -Wpedantic -Werror"

cmake -S "$example" -B "$work/build" -DCMAKE_PREFIX_PATH="$TREE" -DCMAKE_CXX_COMPILER="$CXX" \
    -DCMAKE_CXX_FLAGS="$warnings $CXXFLAGS" >"$work/log" || fail "$(cat "$work/log")"
grep -q "^oc-amplifier_DIR:PATH=$TREE/" "$work/build/CMakeCache.txt" || fail "another oc-amplifier was found"
cmake --build "$work/build" >"$work/log" 2>&1 || fail "$(cat "$work/log")"
cmake --build "$work/build" --target run | grep '^/' >"$work/with_cmake"
expect "native request" "$(cat "$here/embed_request.txt")" "$(cat "$work/with_cmake")"

export PKG_CONFIG_PATH=$TREE/$LIBDIR/pkgconfig
expect "version of pkg-config" "$VERSION" "$(pkg-config --modversion oc-amplifier)"
# pkg-config writes a backslash before the blanks of a path, which a read without -r takes away.
# shellcheck disable=SC2162
read -a flags <<<"$warnings $CXXFLAGS $(pkg-config --cflags oc-amplifier)"
# shellcheck disable=SC2162
read plugin <<<"$(pkg-config --variable=plugin oc-amplifier)"
"$CXX" -std=c++11 "${flags[@]}" -rdynamic "$example/embed.cpp" -o "$work/embed" -ldl
"$work/embed" "$plugin" 0/1-AMP-PRE >"$work/with_pkg_config"
expect "native request of the program made with pkg-config" "$(cat "$here/embed_request.txt")" "$(cat "$work/with_pkg_config")"

"$work/embed" "$work/no-such-plugin" 0/1-AMP-PRE >/dev/null 2>"$work/err" && fail "a missing plug-in is no failure"
grep -q "^embed: .*no-such-plugin" "$work/err" || fail "$(cat "$work/err")"
