# Debian packages; to be sourced in the root of the checkout.

# shellcheck source=scripts/lib/build.sh
source scripts/lib/build.sh

# The time of the commit, which is also that of every file in the released sources.
source_date() {
    echo "${SOURCE_DATE_EPOCH-$(git log -1 --format=%ct 2>/dev/null || stat -c %Y CMakeLists.txt)}"
}

# build_packages TREE: builds in TREE, below the checkout; puts the packages into TREE/packages.
build_packages() (
    tree=$1
    # Whoever gives packages to others is named in them.
    export DEBFULLNAME=${DEBFULLNAME-OIDCAuth maintainers}
    export DEBEMAIL=${DEBEMAIL-maintainers@oidcauth.invalid}
    # All files have the same time, and paths begin at the checkout.
    SOURCE_DATE_EPOCH=$(source_date)
    umask 022
    export SOURCE_DATE_EPOCH TZ=UTC LC_ALL=C.UTF-8
    # Debian's build flags, but without debug information, which would be stripped anyway.
    export DEB_BUILD_MAINT_OPTIONS="hardening=+all reproducible=+all" DEB_CXXFLAGS_MAINT_STRIP=-g
    flags() { dpkg-buildflags --get "$1"; }
    # As unity builds, which take a third of the time.
    cmake -S . -B "$tree" -G Ninja --log-level=WARNING -DCMAKE_BUILD_TYPE=Release \
        -DCMAKE_CXX_FLAGS_RELEASE=-DNDEBUG -DCMAKE_CXX_FLAGS="$(flags CXXFLAGS) $(flags CPPFLAGS)" \
        -DCMAKE_SHARED_LINKER_FLAGS="$(flags LDFLAGS)" -DCMAKE_MODULE_LINKER_FLAGS="$(flags LDFLAGS)" \
        -DCMAKE_EXE_LINKER_FLAGS="$(flags LDFLAGS)" -DCMAKE_UNITY_BUILD=ON \
        -DCMAKE_INSTALL_PREFIX=/usr -DCMAKE_INSTALL_LIBDIR="lib/$(dpkg-architecture -qDEB_HOST_MULTIARCH)" \
        -DCMAKE_BUILD_RPATH_USE_ORIGIN=ON -DCMAKE_SKIP_INSTALL_RPATH=ON -DOIDCAUTH_BUILD_TESTS=OFF \
        -DOIDCAUTH_BUILD_KEYRING=ON -DOIDCAUTH_DEBIAN_PACKAGES=ON
    cmake --build "$tree"
    rm -rf "$tree/packages"
    # Its warnings are about files that are missing on purpose.
    cpack --config "$tree/CPackConfig.cmake" -B "$tree/packages" >"$tree/cpack.log" 2>&1 ||
        { cat "$tree/cpack.log" >&2; exit 1; }
    rm -r "$tree/packages/_CPack_Packages"
)
