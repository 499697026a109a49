#!/usr/bin/env bash
# The tour: the client on this host of a private network, the service on the next one. Run by `./dev run`.
set -euo pipefail
bin=$1

echo "Two hosts of a private network: the client on 198.51.100.1, the service on 198.51.100.2."

# The service leaves when it is asked to; the first time it comes back a second later.
{
    "$LAB" on 2 "$bin/tour_service"
    sleep 1
    "$LAB" on 2 "$bin/tour_service"
} &
service=$!

code=0
timeout 20 "$bin/tour_client" || code=$?
if ((code == 0)); then
    wait "$service" || code=$?
else
    kill "$service" 2>/dev/null || true
fi
exit "$code"
