#!/usr/bin/env bash
# Fails every allocation and every file call of a read, an edit and the making of a node, one run of ocamp for each, and
# prints the figures. CTest runs a sample. Arguments go to GoogleTest.
source "$(dirname "$0")/lib.sh"

build release
run build/bin/printing_faults_test
FAULTS_ALL=1 run build/bin/faults_test "$@"
