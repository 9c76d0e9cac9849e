# The files of a release; to be sourced in the root of the checkout.

# shellcheck source=scripts/lib/package.sh
source scripts/lib/package.sh
# shellcheck source=scripts/lib/node.sh
source scripts/lib/node.sh

project_version() { sed -n 's/^project(OIDCAuth VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt; }

# make_release DIRECTORY: the sources of the last commit, the packages, their SBOM, and checksums of all of
# them. The same commit gives the same bytes.
make_release() (
    version=$(project_version)
    node=$(find_node build)
    build_packages build/package
    mkdir -p "$1"
    cp build/package/packages/*.deb "$1"
    git archive --prefix="oidcauth-$version/" HEAD | gzip -9n >"$1/oidcauth-$version.tar.gz"
    SOURCE_DATE_EPOCH=$(source_date) \
        "$node" scripts/lib/sbom.mjs build/package oidcauth "$version" >"$1/oidcauth-$version.spdx.json"
    "$node" scripts/lib/sbom-check.mjs "$1/oidcauth-$version.spdx.json"
    cd "$1"
    sums=$(LC_ALL=C sha256sum -- *)
    echo "$sums" >SHA256SUMS
)
