# Runs Windows programs on this system. To be sourced in the root of the checkout.

# Nothing from the user's own Wine; no offers to download anything, and no messages but the programs'.
export WINEPREFIX=$PWD/build/windows/wine WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml="

# Creates a new Wine system and keeps it running: a program then starts in a fraction of a second.
start_wine() {
    local held
    stop_wine
    rm -rf "$WINEPREFIX"
    mkdir -p "$WINEPREFIX"
    wineserver -p
    timeout 120 wine wineboot --init >/dev/null 2>&1
    # A program that waits for input that never comes.
    mkfifo "$WINEPREFIX/never"
    exec {held}<>"$WINEPREFIX/never"
    wine cmd <&"$held" >/dev/null 2>&1 &
    exec {held}>&-
}

stop_wine() {
    [[ ! -d $WINEPREFIX ]] || timeout 20 wineserver -k >/dev/null 2>&1 || true
}
