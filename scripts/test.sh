#!/usr/bin/env bash
# Installs, builds and runs every test. Arguments go to CTest, such as `-L plugin`.
source "$(dirname "$0")/lib.sh"

build release
# Tests keep their nodes in memory: on a disk they would wait for it at every commit. What is lost when a disk loses power
# is tested by what was written and synced, not by the disk.
if [ -z "${TMPDIR:-}" ] && findmnt --noheadings --output OPTIONS /dev/shm | grep --invert-match --quiet noexec &&
    [ "$(df --output=avail -k /dev/shm | tail -n 1)" -gt 1048576 ]; then
    export TMPDIR=/dev/shm
fi

# Tests of servers wait more than they work.
run ctest --preset release --parallel $((2 * $(nproc))) "$@"
