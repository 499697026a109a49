#!/usr/bin/env bash
# A cable that is out for a while in the middle of traffic: the connection stands, and everything goes on. A service
# that is killed meanwhile is missed when the cable is in again.
set -euo pipefail

if [[ ${1:-} != inside ]]; then
    exec "$LAB" run --hosts 2 -- bash "$0" inside
fi
source "$(dirname "$LAB")/peers.bash"

out=${OUT:-1}
serve() { peer service 2 serve 4000 1 100 64; }
serve
peer client 1 use 198.51.100.2 4000 1 100
await client '0 link 0'
flows() { (($(count client answered) > ${answered:-0} && $(count client events) > ${events:-0})); }
until_counts client 10 flows

"$LAB" link 2 down
sleep "$out"
ask client
answered=$(count client answered) events=$(count client events)
"$LAB" link 2 up
ask client
up=$(count client time)
until_counts client 60 flows
figure "flowing again after a cable was out for $out s" $(($(count client time) - up)) ms

sleep 1  # what was queued has come
ask client
figure "calls that full pipes lost in the rush, of $(count client asked)" \
    $(($(count client asked) - $(count client answered))) calls
figure "events that full pipes lost in the rush, of $(count client last)" \
    $(($(count client last) - $(count client events))) events
[[ $(grep -v counts /run/client | cut -d' ' -f3-) == $'up\nlink 0' ]] || fail "the connection was lost: $(</run/client)"

"$LAB" link 2 down
kill_peer service
sleep "$out"
"$LAB" link 2 up
ask client
up=$(count client time)
await client '0 down' 1 60
figure "loss of a service told that was killed while the cable was out for $out s" $((when - up)) ms
# Its kernel may still be closing the old connection, which has the port.
for ((starts = 2; ; ++starts)); do
    serve
    await service 'ready|failed 98' "$starts"
    [[ $(tail -n 1 /run/service) != *ready ]] || break
    ((starts < 100)) || fail "the port does not become free"
    sleep 0.1
done
figure "starts of the service until its port was free" $((starts - 1)) starts
await client '0 link 0' 2
