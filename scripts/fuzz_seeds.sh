#!/usr/bin/env bash
# Makes seeds of what fuzzing TARGET has found: the fewest of the inputs in build-fuzz/corpus, at most BYTES long (default
# 200), that reach what neither its seeds nor one another reach. Look at what it has added before you commit it.
source "$(dirname "$0")/lib.sh"

target=$1
bytes=${2:-200}
run "build-fuzz/bin/$target" -set_cover_merge=1 -use_counters=0 -max_len="$bytes" "tests/fuzz/corpus/$target" "build-fuzz/corpus/$target"
