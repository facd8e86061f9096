# Shared by the scripts here: stop at the first fault, work from the top of the tree, show what is run.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

run() {
    echo "+ $*" >&2
    "$@"
}

# Compilers are called through ccache: what any clone has compiled before is not compiled again. The file that lists what
# was included says what to compare, so that the first compilation costs no second run of the preprocessor.
export CMAKE_C_COMPILER_LAUNCHER=ccache CMAKE_CXX_COMPILER_LAUNCHER=ccache
export CCACHE_BASEDIR=$PWD CCACHE_NOHASHDIR=1 CCACHE_DEPEND=1

# build PRESET [TARGET...]: installs what is missing, configures and builds all or the targets.
build() {
    local preset=$1
    shift
    scripts/setup.sh
    run cmake --preset "$preset" >/dev/null
    run cmake --build --preset "$preset" ${1:+--target "$@"}
}
