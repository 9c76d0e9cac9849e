# The dependencies of a build for Windows, in addition to the cross-compiler. To be sourced in the root of
# the checkout. They are built once for all checkouts of a user, and again when one of their inputs changes.

# shellcheck source=scripts/lib/sources.sh
source scripts/lib/sources.sh

windows_cache=${OIDCAUTH_WINDOWS_CACHE:-${XDG_CACHE_HOME:-$HOME/.cache}/oidcauth/windows}
windows_sysroot=build/windows-sysroot

# Puts the dependencies below $windows_sysroot, where the toolchain file looks for them.
make_windows_sysroot() {
    local compiler toolchain
    mkdir -p "$windows_cache" "$windows_sysroot"
    compiler=$(versions g++-mingw-w64-x86-64-posix mingw-w64-x86-64-dev)
    toolchain=$(<cmake/windows/toolchain.cmake)
    link_headers "$windows_sysroot/headers/include"
    # The newest source package belongs to the newest binary package; a machine with another version must
    # fetch it again.
    make_part openssl "$compiler" "$(versions libssl-dev)"
    make_part googletest "$compiler" "$(versions libgtest-dev)" "$toolchain"
    make_part cpprestsdk "$compiler" "$(versions libcpprest-dev libboost-dev)" "$toolchain" \
        "$(find cmake/windows/{cpprestsdk.cmake,shims} -type f -exec sha256sum {} + | sort)"
}

versions() { dpkg-query -W -f '${Package} ${Version}\n' "$@"; }

# link_windows_dlls FOLDER: the DLLs that the programs in it load and Windows does not have.
link_windows_dlls() {
    local name
    mkdir -p "$1"
    ln -sf "$PWD/$windows_sysroot"/*/bin/*.dll "$1/"
    for name in libstdc++-6 libgcc_s_seh-1 libwinpthread-1 zlib1; do
        ln -sf "$(x86_64-w64-mingw32-g++-posix -print-file-name=$name.dll)" "$1/"
    done
}

# make_windows_archive FILE: all components, the DLLs, headers and import libraries of their dependencies,
# and all licences.
make_windows_archive() {
    local scratch root package part
    scratch=$(mktemp -d)
    root=$scratch/$(basename "$1" .zip)
    cmake --install build/windows --prefix "$root" >/dev/null
    link_windows_dlls "$scratch/dlls"
    cp -L "$scratch"/dlls/*.dll "$root/bin/"
    for part in cpprestsdk openssl; do
        cp -r "$windows_sysroot/$part"/{include,lib} "$root/"
    done
    mkdir "$root/licences"
    cp "$windows_sysroot/cpprestsdk/license.txt" "$root/licences/cpprestsdk.txt"
    cp "$windows_sysroot/openssl/LICENSE.txt" "$root/licences/openssl.txt"
    for package in gcc-mingw-w64-x86-64-posix-runtime mingw-w64-x86-64-dev libz-mingw-w64 \
        libboost-dev libfmt-dev libspdlog-dev libcli11-dev libtomlplusplus-dev picojson-dev; do
        cp -L "/usr/share/doc/$package/copyright" "$root/licences/$package.txt"
    done
    mkdir -p "$(dirname "$1")"
    (cd "$scratch" && cmake -E tar cf "$scratch/archive.zip" --format=zip "$(basename "$root")")
    mv "$scratch/archive.zip" "$1"
    rm -rf "$scratch"
    echo "$1"
}

# The header-only libraries, and no other header of this machine.
link_headers() {
    local name
    mkdir -p "$1"
    for name in boost fmt spdlog CLI toml++ picojson.h; do
        ln -sfn "/usr/include/$name" "$1/$name"
    done
}

# make_part NAME INPUT...: runs build_NAME, which gets a folder to work in and one to install into. The
# recipe is an input, too.
make_part() {
    local name=$1 key prefix log=$windows_sysroot/$1.log
    key=$({ printf '%s\n' "$@"; declare -f "build_$name"; } | sha256sum | cut -c -16)
    prefix=$windows_cache/$name-$key
    # One checkout builds, and others wait for it.
    exec {lock}>"$windows_cache/$name.lock"
    flock "$lock"
    if [[ ! -e $prefix ]]; then
        echo "scripts/windows: building $name"
        rm -rf "$windows_cache/$name.work" "$windows_cache/$name.new"
        mkdir -p "$windows_cache/$name.work"
        # In the background, because `set -e` has no effect in a command before || or in an if.
        (
            set -e
            export CCACHE_BASEDIR=$windows_cache/$name.work
            "build_$name" "$windows_cache/$name.work" "$windows_cache/$name.new"
        ) >"$log" 2>&1 &
        wait $! || { tail -n 20 "$log" >&2; return 1; }
        mv "$windows_cache/$name.new" "$prefix"
        rm -rf "$windows_cache/$name.work"
    fi
    exec {lock}>&-
    ln -sfn "$prefix" "$windows_sysroot/$name"
}

build_openssl() {
    # Without unneeded features, and without code or settings that could be loaded from a file: the built-in
    # paths are folders of the current drive, where others may write.
    local -a without=(
        autoload-config dso engine legacy tests ui-console sock comp
        cmp cms ct dtls ocsp psk rfc3779 srp srtp ssl3 ssl-trace ts weak-ssl-ciphers
        aria bf blake2 camellia cast ec2m gost idea md4 mdc2 multiblock rc2 rc4 rmd160 scrypt seed
        siphash sm2 sm3 sm4 whirlpool)
    # The tarball of a security update may exist before its description does.
    download_source "$1" openssl --tar-only
    tar -xf "$1"/openssl_*.orig.tar.* -C "$1"
    cd "$1"/openssl-*/
    ./Configure mingw64 --cross-compile-prefix=x86_64-w64-mingw32- --prefix=/usr --libdir=lib \
        --openssldir=/ssl shared "${without[@]/#/no-}"
    make -s -j"$(nproc)" CC="ccache x86_64-w64-mingw32-gcc-posix" build_libs
    make -s DESTDIR="$1/root" install_dev install_runtime_libs
    # The static ones are of another kind, and large.
    rm "$1"/root/usr/lib/lib{crypto,ssl}.a
    cp LICENSE.txt "$1/root/usr/"
    mv "$1/root/usr" "$2"
}

build_googletest() {
    build_with_cmake /usr/src/googletest "$@"
}

build_cpprestsdk() {
    local headers=$PWD/$windows_sysroot/headers/include
    download_source "$1" "cpprest=$(dpkg-query -W -f '${source:Version}' libcpprest-dev)"
    tar -xf "$1"/cpprest_*.orig.tar.* -C "$1"
    # With its WinHTTP client, and its own implementation of tasks; with Microsoft's compiler it would use
    # that compiler's.
    build_with_cmake "$1"/cpprestsdk-*/Release "$@" \
        -DCMAKE_PROJECT_cpprestsdk_INCLUDE="$PWD/cmake/windows/cpprestsdk.cmake" \
        -DCMAKE_CXX_STANDARD=17 \
        -DCMAKE_CXX_FLAGS="-w -DBOOST_ASIO_DISABLE_BOOST_REGEX -isystem $headers" \
        -DWERROR=OFF -DBUILD_TESTS=OFF -DBUILD_SAMPLES=OFF -DCPPREST_ABI_TAG= \
        -DCPPREST_PPLX_IMPL=winpplx -DCPPREST_HTTP_LISTENER_IMPL=none \
        -DCPPREST_EXCLUDE_WEBSOCKETS=ON -DCPPREST_EXCLUDE_COMPRESSION=ON \
        -DCPPREST_EXPORT_DIR=cmake/cpprestsdk
    cp "$1"/cpprestsdk-*/license.txt "$2"/
}

# build_with_cmake SOURCE WORK PREFIX [option...]
build_with_cmake() {
    cmake -S "$1" -B "$2/build" -G Ninja --log-level=WARNING -DCMAKE_BUILD_TYPE=Release \
        -DCMAKE_TOOLCHAIN_FILE="$PWD/cmake/windows/toolchain.cmake" \
        -DCMAKE_CXX_COMPILER_LAUNCHER=ccache -DCMAKE_INSTALL_PREFIX="$3" "${@:4}"
    cmake --build "$2/build"
    cmake --install "$2/build" --strip
}
