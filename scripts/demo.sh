#!/usr/bin/env bash
# From a bare Debian 12 to a read of one amplifier: installs, builds, makes the example node and explains the read.
source "$(dirname "$0")/lib.sh"

build release ocamp oc-amplifier
node=$(mktemp -d)/node
run build/bin/ocamp node init "$node" --from examples/node
run build/bin/ocamp explain get --node "$node" "/optical-amplifier/amplifiers/amplifier[name='0/1-AMP-PRE']"
