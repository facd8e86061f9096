#!/usr/bin/env bash
# Static analysis with cppcheck, and valgrind's memory check of the plug-in's tests, of it as a guest, and of a read and an edit of
# a node.
# clang-tidy has scripts/tidy.sh. GCC's -fanalyzer is for C: of C++, GCC 12 says that it is not supported.
# cppcheck 2.10 does not parse the templates of the plug-in's walks, nor its macros, so it looks at what the preprocessor leaves of
# the other sources of the plug-in, and at the rest.
source "$(dirname "$0")/lib.sh"

scripts/setup.sh cppcheck valgrind
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
cppchecked=(cppcheck --quiet --std=c++20 --language=c++ --enable=warning,performance,portability --library=std,posix -j "$(nproc)"
            --error-exitcode=1)
run "${cppchecked[@]}" -I . -I platform -I oc-amplifier/include --suppressions-list=scripts/cppcheck.txt platform server line tools
mkdir "$folder/plugin"
for file in oc-amplifier/src/{utility,*_man,*_openconfig_optical_amplifier_auto}.cpp; do
    g++ -E -std=c++20 -I oc-amplifier/include "$file" -o "$folder/plugin/$(basename "$file")"
done
run "${cppchecked[@]}" "$folder/plugin"

build release
# Blocks that only a pointer into them leads to are the loader's own. ocamp carries the C++ library, of which valgrind sees
# new and not the delete that stands inline.
checked=(valgrind --quiet --show-mismatched-frees=no --leak-check=full --errors-for-leak-kinds=definite,indirect --show-leak-kinds=definite,indirect
         --error-exitcode=99)
# Tests in which a process dies leave there what it had.
run "${checked[@]}" build/bin/plugin_test --gtest_brief=1 --gtest_filter=-*Asserts*:*Death*
# A thousand visits take minutes here, and tell no more than one.
run "${checked[@]}" build/bin/plugin_guest_test --gtest_brief=1 --gtest_filter=-*LeavesNothingBehind*
run build/bin/ocamp node init "$folder/node" --from examples/node
run "${checked[@]}" build/bin/ocamp get --node "$folder/node" /optical-amplifier >/dev/null
run "${checked[@]}" build/bin/ocamp edit --node "$folder/node" examples/requests/edit-two-amplifiers.xml
