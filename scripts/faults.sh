#!/usr/bin/env bash
# Fails every allocation and every file call of a read, an edit and the making of a node, one run of ocamp for each; and
# of a server under a client's work and of a line that runs every file call and an allocation from each place. Prints the
# figures. CTest runs a sample, which FAULTS_SEED draws anew. Arguments go to GoogleTest.
source "$(dirname "$0")/lib.sh"

build release
run build/bin/printing_faults_test
FAULTS_ALL=1 run build/bin/faults_test "$@"
FAULTS_ALL=1 run build/bin/served_faults_test "$@"
