#!/usr/bin/env bash
# All six kinds between two hosts, both ways at once: nothing is missing but what may be. SECONDS_LONG and RATE make it
# more of it.
set -euo pipefail

if [[ ${1:-} != inside ]]; then
    exec "$LAB" run --hosts 2 -- bash "$0" inside
fi
mkfifo /run/key
"$LAB" on 2 "$BIN/six_kinds" serve 4000 </run/key >/run/said &
service=$!
exec 9>/run/key
until grep -q ready /run/said; do sleep 0.01; done
timeout $((${SECONDS_LONG:-3} + 60)) "$BIN/six_kinds" drive 198.51.100.2 4000 "${SECONDS_LONG:-3}" "${RATE:-100}"
exec 9>&-
wait "$service"
