#!/usr/bin/env bash
# Builds the server with the gNMI adapter, which is at work and not part of the default build, and runs its tests.
# Arguments go to CTest.
source "$(dirname "$0")/lib.sh"

scripts/setup.sh libgrpc++-dev libprotobuf-dev protobuf-compiler protobuf-compiler-grpc libssl-dev openssl \
    python3-grpcio python3-protobuf
# Node.js of another origin brings its own npm, and refuses Debian's.
command -v npm >/dev/null || scripts/setup.sh npm
run cmake --preset release -B build-gnmi -DOCAMP_GNMI=ON >/dev/null
run cmake --build build-gnmi --target ocamp ocampd
run ctest --test-dir build-gnmi --label-regex '^gnmi$' --output-on-failure "$@"
