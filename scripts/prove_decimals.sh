#!/usr/bin/env bash
# Compares the conversion of native integers by digits with the C library's, over every value of eight digits; with FIRST
# and END over those from the one to before the other, such as 0 10000000.
source "$(dirname "$0")/lib.sh"

build release decimal_proof
run build/bin/decimal_proof "$@"
