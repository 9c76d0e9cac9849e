# The HTTP library for ThreadSanitizer, which must see the synchronisation inside it. To be sourced
# in the root of the checkout.

# Builds it once from Debian's source package, instrumented, below build/ and prints where it is.
instrumented_cpprest() {
    local work=$PWD/build/instrumented version prefix
    version=$(dpkg-query -W -f '${source:Version}' libcpprest-dev)
    prefix=$work/cpprest-$version
    if [[ ! -e $prefix/lib/libcpprest.so ]]; then
        rm -rf "$work"
        mkdir -p "$work/sources" "$work/lists/partial"
        (
            cd "$work/sources"
            source_entries >"$work/sources.list"
            # Lists of its own: the machine need not have source packages switched on.
            local -a apt=(-q -o "Dir::Etc::SourceList=$work/sources.list" -o Dir::Etc::SourceParts=-
                          -o "Dir::State::Lists=$work/lists" -o APT::Sandbox::User=root)
            apt-get "${apt[@]}" update
            apt-get "${apt[@]}" source --download-only "cpprest=$version"
            tar -xf cpprest_*.orig.tar.*
            cmake -S cpprestsdk-*/Release -B build -G Ninja --log-level=WARNING \
                -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_FLAGS_DEBUG="-O1 -g1 -fsanitize=thread -Wno-error" \
                -DCMAKE_CXX_COMPILER_LAUNCHER=ccache -DWERROR=OFF -DCPPREST_EXCLUDE_WEBSOCKETS=ON \
                -DBUILD_TESTS=OFF -DBUILD_SAMPLES=OFF -DCMAKE_INSTALL_PREFIX="$prefix"
            cmake --build build --target install
        ) >"$work/log" 2>&1 || { tail -n 20 "$work/log" >&2; return 1; }
        rm -rf "$work/sources" "$work/lists"
    fi
    echo "$prefix"
}

# This machine's package sources as entries for source packages, in the one-line form.
source_entries() {
    local file
    for file in /etc/apt/sources.list /etc/apt/sources.list.d/*.list; do
        [[ -e $file ]] && sed -n 's/^deb\(-src\)\? /deb-src /p' "$file"
    done
    for file in /etc/apt/sources.list.d/*.sources; do
        [[ -e $file ]] && awk '
            function entries(  u, s, i, j) {
                split(uris, u, " "); split(suites, s, " ")
                for (i in u) for (j in s)
                    print "deb-src " (key ? "[signed-by=" key "] " : "") u[i], s[j], components
                uris = suites = components = key = ""
            }
            /^[[:space:]]*$/ { entries() }
            /^URIs:/ { sub(/^[^:]*: */, ""); uris = $0 }
            /^Suites:/ { sub(/^[^:]*: */, ""); suites = $0 }
            /^Components:/ { sub(/^[^:]*: */, ""); components = $0 }
            /^Signed-By:/ { sub(/^[^:]*: */, ""); key = $0 }
            END { entries() }' "$file"
    done
}
