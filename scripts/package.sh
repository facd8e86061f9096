#!/usr/bin/env bash
# Makes the Debian packages of the last commit in build-package/: builds them twice, in two places, and compares; looks at
# them with lintian. With --check also installs, runs and removes them in a fresh root.
source "$(dirname "$0")/lib.sh"

output=$PWD/build-package
scripts/setup.sh debhelper fakeroot lintian
git diff --quiet HEAD || echo "uncommitted changes are left out of the packages" >&2
commit=$(git rev-parse HEAD)
SOURCE_DATE_EPOCH=$(git log -1 --format=%ct "$commit")
export SOURCE_DATE_EPOCH
# The tests are run by scripts/test.sh; the root that the packages are made for has no use for them.
export DEB_BUILD_OPTIONS="nocheck parallel=$(nproc)"

# make_packages FOLDER: the packages in FOLDER, from sources below it.
make_packages() {
    mkdir -p "$1/source"
    git archive "$commit" | tar -x -C "$1/source"
    mv "$1/source/packaging/debian" "$1/source/debian"
    (cd "$1/source" && run dpkg-buildpackage --build=binary --build-profiles=nocheck -us -uc >"$1/log" 2>&1) || {
        tail -n 40 "$1/log" >&2
        return 1
    }
}

rm -rf "$output"
make_packages "$output/first"
make_packages "$output/second/elsewhere"
for package in "$output"/first/*.deb; do
    run cmp "$package" "$output/second/elsewhere/${package##*/}"
    cp "$package" "$output"
done
run lintian --allow-root --fail-on error,warning --info "$output"/first/*.changes
ls -l "$output"/*.deb
if [ "${1:-}" = --check ]; then
    run scripts/package_check.sh "$output"/*.deb
fi
