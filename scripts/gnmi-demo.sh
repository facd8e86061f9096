#!/usr/bin/env bash
# Shows one node through three clients that others wrote and one of this project: a stream of `ocamp gnmi` runs while
# grpcio and grpc-js set the target gain of an amplifier, and ncclient reads it over NETCONF after each. Fails when
# one of them sees another value.
source "$(dirname "$0")/lib.sh"

scripts/setup.sh python3-grpcio python3-protobuf protobuf-compiler
# Node.js of another origin brings its own npm, and refuses Debian's.
command -v npm >/dev/null || scripts/setup.sh npm
build release ocamp ocampd ocamp-gnmi oc-amplifier
folder=$(mktemp -d)
pids=()
finish() {
    [ ${#pids[@]} -eq 0 ] || kill "${pids[@]}" 2>/dev/null || true
    wait
    rm -rf "$folder"
}
trap finish EXIT
node=$folder/node
export OCAMP_GNMI_PASSWORD=amplifier
run build/bin/ocamp node init "$node" --from examples/node
for user in olga:operator rita:reader; do
    run build/bin/ocamp user add --node "$node" "${user%:*}" --role "${user#*:}" <<<"$OCAMP_GNMI_PASSWORD"
done
run protoc -I proto --python_out "$folder" gnmi.proto gnmi_ext.proto
cp tests/gnmi/grpc-js/package.json tests/gnmi/grpc-js/package-lock.json scripts/gnmi-demo/set_gain.js "$folder"
(cd "$folder" && run npm ci --ignore-scripts --no-audit --no-fund --silent)

# start FILE COMMAND...: in the background, until the end, with its output in the file.
start() {
    local output=$1
    shift
    echo "+ $* &" >&2
    "$@" >"$output" &
    pids+=($!)
}

# wait_for PATTERN FILE: until a line of the file has it.
wait_for() {
    timeout 30 bash -c "until grep -q -- '$1' '$2' 2>/dev/null; do sleep 0.1; done" || {
        echo "no '$1' in: $(cat "$2")" >&2
        exit 1
    }
}

start "$folder/ready" build/bin/ocamp serve --node "$node" --netconf 127.0.0.1:0 --gnmi 127.0.0.1:0 2>"$folder/events"
wait_for '^ready' "$folder/ready"
gnmi=$(sed 's/.*gnmi=\([^ ]*\).*/\1/' "$folder/ready")
netconf=$(sed 's/.*netconf=\([^ ]*\).*/\1/' "$folder/ready")
certificate=$node/server/gnmi-certificate.pem
amplifier=0/1-AMP-PRE
gain="/optical-amplifier/amplifiers/amplifier[name=$amplifier]/config/target-gain"

start "$folder/stream" build/bin/ocamp gnmi subscribe --target "$gnmi" --tls-ca "$certificate" --username rita \
    --stream-mode on-change --path "$gain"
wait_for '"sync":true' "$folder/stream"

# seen VALUE: the stream tells it, and NETCONF has it.
seen() {
    wait_for "\"value\":$1}" "$folder/stream"
    echo "stream: $(grep -F "\"value\":$1}" "$folder/stream" | tail -n 1)"
    local read
    read=$(/usr/bin/python3 scripts/gnmi-demo/read_gain.py "${netconf%:*}" "${netconf##*:}" "$amplifier")
    echo "ncclient: target-gain $read"
    [ "$read" = "$1" ] || {
        echo "NETCONF has $read, expected $1" >&2
        exit 1
    }
}

PYTHONPATH=$folder run /usr/bin/python3 scripts/gnmi-demo/set_gain.py "$gnmi" "$certificate" "$amplifier" 11.3
seen 11.3
run node "$folder/set_gain.js" "localhost:${gnmi##*:}" "$certificate" "$amplifier" 12.4 proto
seen 12.4
run build/bin/ocamp gnmi set --target "$gnmi" --tls-ca "$certificate" --username olga --update-path "$gain" --update-value 13.6
seen 13.6
