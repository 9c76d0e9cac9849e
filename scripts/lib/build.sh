# To be sourced in the root of the checkout.

# Compiler output is kept across checkouts: nothing in it depends on where a checkout lies, but for
# coverage counters, which ccache knows to keep apart.
export CCACHE_BASEDIR=$PWD CCACHE_NOHASHDIR=1

# Configures and builds a preset: build_preset PRESET [TARGET...]
build_preset() {
    local preset=$1 node
    shift
    # shellcheck source=scripts/lib/node.sh
    source scripts/lib/node.sh
    node=$(find_node build)
    cmake --preset "$preset" -DOIDCAUTH_NODE="$node" --log-level=WARNING
    cmake --build --preset "$preset" ${1+--target "$@"}
}

# Builds a preset and runs its tests: test_preset PRESET [ctest option...]
test_preset() {
    local preset=$1
    shift
    build_preset "$preset"
    # More than the processors: tests spend much of their time waiting.
    ctest --preset "$preset" --parallel "$(($(nproc) + 2))" "$@"
}
