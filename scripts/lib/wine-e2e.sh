# The end-to-end tests of the command under Wine. To be sourced in the root of the checkout, after
# scripts/lib/wine.sh.

# These tests work on Windows as well, except cases that skip themselves there.
wine_e2e_tests=(errors keeping login network output profiles refresh secret sign-in status token
    usage windows)

# test_command_under_wine [option of node...]: one file at a time, because all use the same user folder. A
# file that fails runs once more: Wine's HTTP client can crash when a connection is reset
# (docs/windows.md), and then the command ends without a word. A fault of ours fails twice.
test_command_under_wine() {
    local node name failed=0
    # shellcheck source=scripts/lib/node.sh
    source scripts/lib/node.sh
    node=$(find_node build)
    for name in "${wine_e2e_tests[@]}"; do
        local -a run=(env OIDCAUTH_COMMAND="$PWD/build/windows/bin/oidcauth.exe"
            OIDCAUTH_SOURCE_DIR="$PWD" "$node" --test "$@" "tests/e2e/$name.test.mjs")
        "${run[@]}" && continue
        echo "== $name failed under Wine, and runs once more"
        "${run[@]}" || failed=1
    done
    return "$failed"
}
