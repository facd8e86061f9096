#!/usr/bin/env bash
# Runs every benchmark, writes docs/performance.md with its plots, and prints the ratios. ROUNDS (default 9) is how
# often each is measured; the fastest counts.
source "$(dirname "$0")/lib.sh"

rounds=${1:-9}
scripts/setup.sh libxslt1-dev libxml2-dev python3-lxml
build release plugin_bench node_bench plugin_peer platform_peer libyang_peer xslt_peer ocamp ocampd netconf_bench walk_cost memory_test
figures=build/bench-figures
mkdir -p "$figures"

run build/bin/plugin_bench --benchmark_min_time=0.05 --benchmark_repetitions="$rounds" \
    --benchmark_enable_random_interleaving=true --benchmark_out="$figures/plugin.json" >/dev/null
run build/bin/node_bench --benchmark_min_time=0.5 --benchmark_repetitions="$rounds" \
    --benchmark_out="$figures/node.json" >/dev/null
run /usr/bin/python3 bench/command_bench.py build/bin/ocamp "$figures/command.json" "$((rounds * 20))"
run build/bin/netconf_bench build/bin/ocamp build/bin/ocampd examples/node "$((rounds * 2))" >"$figures/netconf.json"
OCAMP=build/bin/ocamp OCAMPD=build/bin/ocampd EXAMPLE_NODE=examples/node PROTO=proto \
    run /usr/bin/python3 bench/gnmi_bench.py >"$figures/gnmi.json"
run /usr/bin/python3 bench/line_load.py --seconds 20 >"$figures/line.txt"
run /usr/bin/python3 bench/line_load.py --seconds 20 --served >"$figures/line-served.txt"
run /usr/bin/python3 bench/line_load.py --seconds 20 --streams 1 10 100 300 >"$figures/line-streams.txt"
run /usr/bin/python3 bench/peers/compare.py build/bin "$figures/peers.json" "$rounds"
run build/bin/memory_test --gtest_output="json:$figures/memory.json" >/dev/null
# More instructions than were accepted are a finding to be written down, too; the test says so at the end.
dearer=0
run ctest --preset release --tests-regex '^instructions$' --verbose >"$figures/instructions.log" || dearer=$?
sed -n 's/^[0-9]*: //p' "$figures/instructions.log" | sed -n '/^instructions of one walk/,$p' >"$figures/instructions.txt"
run /usr/bin/python3 bench/report/report.py "$figures" docs
exit "$dearer"
