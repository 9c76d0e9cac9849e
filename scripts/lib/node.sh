# Node.js for demo/provider; to be sourced.
#
#   node=$(find_node build)

# Tested rather than derived from the version: some releases of Node.js 20 have these functions, and Debian
# 12's own Node.js 18 does not.
node_suffices() {
    "$1" -e 'process.exit(URL.parse && require("crypto").hash ? 0 : 1)' >/dev/null 2>&1
}

# Prints the path of a Node.js that can run demo/provider: the system's if it is new enough, otherwise one
# that npm downloads once into the given build directory.
find_node() {
    local version=22.23.3
    local node=$1/node-$version/bin/node
    if node_suffices node; then
        command -v node
        return
    fi
    # Only the result counts: another script may have installed the same version before.
    node_suffices "$node" || install_node "$version" "$1" >&2 || true
    if ! node_suffices "$node"; then
        echo "no Node.js for demo/provider: install npm, or Node.js 22 or later" >&2
        return 1
    fi
    realpath "$node"
}

# The npm registry has Node.js itself, as a package for each platform. The checksum is pinned because a
# binary is run; packing instead of installing runs no script of the package.
install_node() {
    local version=$1 build=$2 arch sha512 scratch
    case $(uname -m) in
        x86_64)
            arch=x64
            sha512=a879f3e6d16c1e88ff58cfae4443558d638d8b9855be6c2b82af00e15efa2a9b\
95340738fa3c0af31e20c1ba1b13d06d1cd83f00a476e7cdde628acb17f73b9e
            ;;
        aarch64)
            arch=arm64
            sha512=9770c01d9adeca5a3ea7d4170edb0eae31b625726a5736179c01a621034e50d0\
1170ca694ced9c99ec1540ffb7ead8c99d213e773a4c36d816f9cde8883bd7b4
            ;;
        *) return 1 ;;
    esac
    # The caller's `||` switches `set -e` off in here, hence the chains.
    mkdir -p "$build" && scratch=$(mktemp -d "$(realpath "$build")/node.XXXXXX") || return
    (
        local tarball=node-linux-$arch-$version.tgz
        trap 'rm -rf "$scratch"' EXIT
        cd "$scratch" &&
            npm pack --silent "node-linux-$arch@$version" &&
            echo "$sha512  $tarball" | sha512sum --check --quiet &&
            mkdir unpacked &&
            tar -xzf "$tarball" -C unpacked --strip-components=1 package/bin/node package/LICENSE &&
            mv -T unpacked "../node-$version"
    )
}
