#!/usr/bin/env bash
# One version: the project's is the newest in the changelog and that of the Debian packages.
source "$(dirname "$0")/check.sh"

cd "$here/../.."
expect "newest version of CHANGELOG.md" "$VERSION" \
    "$(sed -n 's/^## \[\([0-9][0-9.]*\)\].*/\1/p' CHANGELOG.md | head -n 1)"
expect "newest version of the Debian changelog" "$VERSION" \
    "$(sed -n '1s/^oc-amplifier (\([0-9.]*\)).*/\1/p' packaging/debian/changelog)"
