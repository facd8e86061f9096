#!/usr/bin/env bash
# The rooms of the platform, and the server on top of them, know what lies below them and nothing above: what a file
# includes says so.
set -uo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../../platform"

# Rooms whose headers the files of a room may include.
declare -A below=(
    [seam]=""
    [log]="seam"
    [framework]="log seam"
    [sysdb]="log seam"
    [yang]="log seam"
    [node]="yang framework sysdb log seam"
)

status=0
complain() {
    echo "$1" >&2
    status=1
}

for room in */; do
    room=${room%/}
    [[ -v below[$room] ]] || complain "platform/$room: a room that has no place among the others"
    while IFS=: read -r file included; do
        [[ $included == yfw_platform.h ]] && continue
        [[ " $room ${below[$room]-} " == *" ${included%%/*} "* ]] && continue
        complain "platform/$file includes $included, expected a header of: $room ${below[$room]-}"
    done < <(grep -rHoP '^\s*#\s*include\s*"\K[^"]+' "$room")
done
# The server lies above all of them, and below the programs; it knows no adapter.
while IFS=: read -r file included; do
    case $included in
        yfw_platform.h | server/netconf/* | server/gnmi/*) ;;
        server/*) continue ;;
        */*) [[ -v below[${included%%/*}] ]] && continue ;;
    esac
    complain "server/$file includes $included, expected a header of the server or of the platform"
done < <(cd ../server && grep -HoP '^\s*#\s*include\s*"\K[^"]+' ./*.h ./*.cpp | grep -v '^./protocols.cpp:')
# The line lies above the platform, and knows neither the server nor the tools.
while IFS=: read -r file included; do
    case $included in
        line/*) continue ;;
        */*) [[ -v below[${included%%/*}] ]] && continue ;;
    esac
    complain "line/$file includes $included, expected a header of the line or of the platform"
done < <(cd ../line && grep -HoP '^\s*#\s*include\s*"\K[^"]+' ./*.h ./*.cpp)
exit $status
