#!/usr/bin/env bash
# Writes what is made from rows: of the plug-in's the export list, the mapping reference and the deviations module, of those
# of the errors their table.
source "$(dirname "$0")/lib.sh"

scripts/setup.sh
run cmake --preset release >/dev/null
run cmake --build --preset release --target ocamp-rows
run build/bin/ocamp-rows exports >oc-amplifier/exports.txt
run build/bin/ocamp-rows mapping >docs/mapping.md
run build/bin/ocamp-rows deviations >yang/openconfig-optical-amplifier-deviations.yang
run build/bin/ocamp-rows errors >docs/errors.md
