# Shared by the scripts here: stop at the first fault, work from the top of the tree, show what is run.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

run() {
    echo "+ $*" >&2
    "$@"
}

# build PRESET: installs what is missing, configures and builds.
build() {
    scripts/setup.sh
    run cmake --preset "$1" >/dev/null
    run cmake --build --preset "$1"
}
