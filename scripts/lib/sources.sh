# Debian's source packages. To be sourced.

# download_source FOLDER PACKAGE [apt-get option...]: into FOLDER, with its own package lists, because the
# machine need not have source packages enabled.
download_source() {
    local folder=$1 package=$2
    shift 2
    mkdir -p "$folder/lists/partial"
    (
        cd "$folder"
        source_entries >sources.list
        local -a apt=(-q -o "Dir::Etc::SourceList=$PWD/sources.list" -o Dir::Etc::SourceParts=-
                      -o "Dir::State::Lists=$PWD/lists" -o APT::Sandbox::User=root)
        apt-get "${apt[@]}" update
        apt-get "${apt[@]}" source --download-only "$@" "$package"
    )
}

# This machine's package sources as entries for source packages, in the one-line format.
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
