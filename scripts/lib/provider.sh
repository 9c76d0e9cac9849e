# Starts demo/provider for a script. To be sourced in the root of the checkout.

# shellcheck source=scripts/lib/node.sh
source scripts/lib/node.sh
# Characters that a client must encode.
export DEMO_SERVICE_SECRET='s3cret/+:=&% ~"demo"'

# start_provider LOGFILE [option...]: sets config_url and node.
start_provider() {
    local log=$1 line
    shift
    node=$(find_node build)
    touch "$log"
    # The provider ends when the pipe that it reads does, whatever happens to this script.
    coproc PROVIDER {
        exec "$node" demo/provider/provider.mjs --exit-with-stdin --log "$log" "$@" 2>"$log.errors"
    }
    if ! read -r line <&"${PROVIDER[0]}" || [[ $line != "READY "* ]]; then
        cat "$log.errors" >&2
        return 1
    fi
    config_url=${line#READY }
}

stop_provider() {
    if [[ -n ${PROVIDER_PID-} ]]; then
        kill "$PROVIDER_PID" 2>/dev/null || true
        wait "$PROVIDER_PID" 2>/dev/null || true
    fi
}
