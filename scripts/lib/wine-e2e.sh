# The end-to-end tests of the command under Wine. To be sourced in the root of the checkout, after
# scripts/lib/wine.sh.

# These tests work on Windows as well, except cases that skip themselves there.
wine_e2e_tests=(errors keeping login network output profiles refresh secret sign-in status token
    usage windows)

# test_command_under_wine [option of node...]: one file at a time, because all use the same user folder.
test_command_under_wine() {
    local node
    # shellcheck source=scripts/lib/node.sh
    source scripts/lib/node.sh
    node=$(find_node build)
    local -a files=("${wine_e2e_tests[@]/#/tests/e2e/}")
    OIDCAUTH_COMMAND=$PWD/build/windows/bin/oidcauth.exe OIDCAUTH_SOURCE_DIR=$PWD \
        "$node" --test --test-concurrency=1 "$@" \
        "${files[@]/%/.test.mjs}"
}
