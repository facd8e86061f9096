# Shared by the scripts here: stop at the first fault, work from the top of the tree, show what is run.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

run() {
    echo "+ $*" >&2
    "$@"
}

# build PRESET [TARGET...]: installs what is missing, configures and builds all or the targets.
build() {
    local preset=$1
    shift
    scripts/setup.sh
    run cmake --preset "$preset" >/dev/null
    run cmake --build --preset "$preset" ${1:+--target "$@"}
}
