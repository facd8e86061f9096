#!/usr/bin/env bash
# Measures the plug-in beside the bare platform calls that it has to make. Arguments go to Google Benchmark.
source "$(dirname "$0")/lib.sh"

build release plugin_bench
run build/bin/plugin_bench "$@"
