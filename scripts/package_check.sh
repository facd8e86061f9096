#!/usr/bin/env bash
# Installs the packages that are named in a fresh root, runs what they bring, removes them, and looks for what they left.
# Debian's own packages come from where this machine gets its own.
[ "$(id -u)" -eq 0 ] || exec sudo "$0" "$@"
source "$(dirname "$0")/lib.sh"

scripts/setup.sh debootstrap
sources=$(apt-get indextargets --format 'deb $(REPO_URI) $(CODENAME) $(COMPONENT)' 'Created-By: Packages' 'Origin: Debian')
# The suite that the others only update.
read -r _ mirror suite _ < <(grep -v ' [a-z]*-[a-z]* ' <<<"$sources")

root=$(mktemp -d)
chmod 755 "$root" # other users than root work in there, too
trap 'rm -rf --one-file-system "$root"' EXIT
echo "+ debootstrap --variant=minbase $suite $root" >&2
debootstrap --variant=minbase "$suite" "$root" "$mirror" >"$root.log" || {
    tail "$root.log" >&2
    exit 1
}
rm "$root.log"
echo "$sources" >"$root/etc/apt/sources.list"
cp /etc/resolv.conf /etc/hosts "$root/etc/"
mkdir "$root/packages"
cp "$@" "$root/packages/"

# step COMMANDS: in the root, with a /proc of its own that goes when they end.
step() {
    unshare --mount --pid --fork --mount-proc="$root/proc" \
        chroot "$root" env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin DEBIAN_FRONTEND=noninteractive \
        bash -euxo pipefail -c "$1" </dev/null
}

# step_as_user COMMANDS: the same as a user without rights, in a folder of their own.
step_as_user() {
    step "folder=\$(su nobody -s /bin/sh -c 'mktemp -d')
cd \"\$folder\"
su nobody -s /bin/bash -c $(printf %q "set -euxo pipefail
examples=/usr/share/oc-amplifier/examples
$1")
cd /
rm -r \"\$folder\""
}

step 'apt-get update -qq
apt-get install -y -qq --no-install-recommends /packages/*.deb >/dev/null'
step 'plugin=$(dpkg -L liboc-amplifier | grep "/liboc-amplifier.so$")
version=$(dpkg-query -f "\${Version}" -W ocamp)
test "$(ocamp --version)" = "ocamp $version
plug-in $plugin"
# Away from its place the program still finds the plug-in, where its build was configured to install it.
install -D /usr/bin/ocamp /elsewhere/far/away/ocamp
/elsewhere/far/away/ocamp --version | grep -Fx "plug-in $plugin"
rm -r /elsewhere
# Nobody is there to answer the client, and it says so.
status=0
ocamp gnmi capabilities --target 127.0.0.1:1 --insecure 2>/client || status=$?
test "$status" = 1
grep UNAVAILABLE /client
rm /client'
step_as_user 'ocamp node init node --from $examples/node
ocamp edit --node node $examples/requests/edit-target-gain.json
ocamp get --node node | grep "\"target-gain\": \"15.5\""'
step_as_user 'ocamp line init line --from $examples/lines/three-sites.json
ocamp line run line --speed max --until 3
ocamp line show line | grep "(second 3)"
ocamp get --node line/nodes/site-1 | grep "\"0/1-AMP-PRE\""'
step_as_user 'ocampd --help | grep -e "--gnmi ADDRESS:PORT"
ocamp node init node --from $examples/node
echo amplifier | ocamp user add --node node rita
# The ports are free ones: the network is that of the machine.
ocampd --node node --netconf 127.0.0.1:0 --gnmi 127.0.0.1:0 >ready 2>events &
server=$!
until grep "^ready .*netconf=" ready; do
    kill -0 "$server" || { cat events; exit 1; }
    sleep 0.1
done
OCAMP_GNMI_PASSWORD=amplifier ocamp gnmi capabilities --target "$(sed "s/.*gnmi=\([^ ]*\).*/\1/" ready)" \
    --tls-ca node/server/gnmi-certificate.pem --username rita | grep "\"name\":\"openconfig-optical-amplifier\""
kill "$server"
wait "$server"'
step 'apt-get install -y -qq --no-install-recommends g++ pkg-config >/dev/null
g++ $(pkg-config --cflags oc-amplifier) -rdynamic /usr/share/oc-amplifier/examples/embed/embed.cpp -o /embed
/embed "$(pkg-config --variable=plugin oc-amplifier)" 0/1-AMP-PRE | grep -x "/ots-oper/ots-ports/ots-port/name = \"Ots0/1/0/0\""
rm /embed'
step 'apt-get purge -y -qq ocamp-gnmi ocamp oc-amplifier-dev liboc-amplifier >/removal 2>&1
if grep -i -E "warning|error|not empty" /removal; then exit 1; fi
test -z "$(dpkg --audit)"
rm -r /removal /packages
left=$(find / -xdev ! -path "/proc/*" \( -name "*ocamp*" -o -name "*oc-amplifier*" -o -name "yfw_platform*" \))
test -z "$left"'
echo "installed, run and removed cleanly in $suite"
