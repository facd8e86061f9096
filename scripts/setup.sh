#!/usr/bin/env bash
# Installs the Debian packages that the build and the tests need and that are not there yet.
source "$(dirname "$0")/lib.sh"

packages=(g++ ccache cmake ninja-build pkg-config libyang2-dev libyang2-tools libsqlite3-dev libexpat1-dev libfmt-dev libcli11-dev
          libsystemd-dev libcrypt-dev libssh-dev libyuma-base python3-ncclient yangcli openssh-client
          libgrpc++-dev libprotobuf-dev protobuf-compiler protobuf-compiler-grpc libssl-dev openssl
          python3-grpcio python3-protobuf
          nlohmann-json3-dev libgtest-dev libgmock-dev libbenchmark-dev groff-base valgrind python3 python3-jsonschema)
# Node.js of another origin brings its own npm, and refuses Debian's.
command -v npm >/dev/null || packages+=(nodejs npm)
# Further packages may be named as arguments.
packages+=("$@")

missing=()
for package in "${packages[@]}"; do
    dpkg-query --show --showformat='${db:Status-Status}' "$package" 2>/dev/null | grep -qx installed || missing+=("$package")
done
[ ${#missing[@]} -eq 0 ] && exit 0

as_root=()
[ "$(id -u)" -eq 0 ] || as_root=(sudo)
export DEBIAN_FRONTEND=noninteractive
run "${as_root[@]}" apt-get update -qq
run "${as_root[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
