#!/usr/bin/env bash
# The C tour: the client on one host, the service on another, which comes later and ends by itself.
set -euo pipefail

if [[ ${1:-} != inside ]]; then
    exec "$LAB" run --hosts 2 -- bash "$0" inside
fi
timeout 40 "$BIN/c_tour" client 198.51.100.2 &
client=$!
timeout 40 "$LAB" on 2 "$BIN/c_tour" service >/run/service
wait "$client"
cat /run/service
