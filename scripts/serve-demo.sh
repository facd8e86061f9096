#!/usr/bin/env bash
# Builds, makes the example node with one user for each role, serves it with NETCONF on ADDRESS:PORT (default
# 127.0.0.1:8300) and gNMI on a second one (default 127.0.0.1:9339) until it is interrupted, and prints how to connect.
source "$(dirname "$0")/lib.sh"

address=${1:-127.0.0.1:8300}
gnmi=${2:-127.0.0.1:9339}
build release ocamp ocampd ocamp-gnmi oc-amplifier
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
node=$folder/node
run build/bin/ocamp node init "$node" --from examples/node
for user in ada:admin olga:operator rita:reader; do
    # One password for all of them: this node is a toy, and only this machine reaches it.
    run build/bin/ocamp user add --node "$node" "${user%:*}" --role "${user#*:}" <<<"amplifier"
done
host=${address%:*} port=${address##*:}
cat <<TEXT

Users: ada (admin), olga (operator), rita (reader); the password of each is "amplifier".

With ncclient:

    /usr/bin/python3 -c 'from ncclient import manager; print(manager.connect(host="$host", port=$port, username="olga",
        password="amplifier", hostkey_verify=False).get_config("running"))'

With yangcli:

    yangcli --server=$host --ncport=$port --user=olga --password=amplifier

With nothing but SSH:

    ssh -p $port -s olga@$host netconf

With gNMI, a stream of the gains of all amplifiers, which the password is asked for:

    build/bin/ocamp gnmi subscribe --target $gnmi --tls-ca $node/server/gnmi-certificate.pem --username olga \\
        --format flat --path "/optical-amplifier/amplifiers/amplifier[name=*]/config/target-gain"

TEXT
run build/bin/ocamp serve --node "$node" --netconf "$address" --gnmi "$gnmi"
