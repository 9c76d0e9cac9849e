# The HTTP library for ThreadSanitizer, which must see the synchronisation inside it. To be sourced in the
# root of the checkout.

# shellcheck source=scripts/lib/sources.sh
source scripts/lib/sources.sh

# Builds it once from Debian's source package, instrumented, below build/ and prints its path.
instrumented_cpprest() {
    local work=$PWD/build/instrumented version prefix
    version=$(dpkg-query -W -f '${source:Version}' libcpprest-dev)
    prefix=$work/cpprest-$version
    if [[ ! -e $prefix/lib/libcpprest.so ]]; then
        rm -rf "$work"
        mkdir -p "$work"
        (
            download_source "$work/sources" "cpprest=$version"
            cd "$work/sources"
            tar -xf cpprest_*.orig.tar.*
            cmake -S cpprestsdk-*/Release -B build -G Ninja --log-level=WARNING \
                -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_FLAGS_DEBUG="-O1 -g1 -fsanitize=thread -Wno-error" \
                -DCMAKE_CXX_COMPILER_LAUNCHER=ccache -DWERROR=OFF -DCPPREST_EXCLUDE_WEBSOCKETS=ON \
                -DBUILD_TESTS=OFF -DBUILD_SAMPLES=OFF -DCMAKE_INSTALL_PREFIX="$prefix"
            cmake --build build --target install
        ) >"$work/log" 2>&1 || { tail -n 20 "$work/log" >&2; return 1; }
        rm -rf "$work/sources"
    fi
    echo "$prefix"
}
