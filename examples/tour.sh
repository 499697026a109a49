#!/usr/bin/env bash
# The tour: clients on this host of a private network, services on the next one. Run by `./dev run`.
set -euo pipefail
bin=$1

# Runs a service on host 2 the given number of times, and its client here. A service ends when its client asks it to.
visit() {
    local times=$1 service=$2 client=$3 code=0 on_host_2
    {
        for ((time = 1; time <= times; ++time)); do
            ((time == 1)) || sleep 1
            "$LAB" on 2 "$bin/$service"
        done
    } &
    on_host_2=$!
    timeout 14 "$bin/$client" || code=$?
    if ((code == 0)); then
        wait "$on_host_2" || code=$?
    fi
    return "$code"
}

echo "Two hosts of a private network: the clients on 198.51.100.1, the services on 198.51.100.2."
# The first service goes away when it is asked to, and comes back a second later.
visit 2 tour_service tour_client
visit 1 tour_streams_service tour_streams_client
