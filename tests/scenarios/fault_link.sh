#!/usr/bin/env bash
# A cable that is out for a while in the middle of traffic: the connection stands, and everything goes on. A service
# that is killed meanwhile is missed when the cable is in again.
source "${LAB%/*}/vocabulary.bash" || exit
out=$(length 0.5 10)
in_lab 2

serve() { peer service 2 serve 4000 1 100 64; }
serve
peer client 1 use 198.51.100.2 4000 1 100
await client '0 link 0'
flows() { (($(count client answered) > answered && $(count client events) > events)); }
mark() { ask client && answered=$(count client answered) events=$(count client events) at=$(count client time); }
mark
until_counts client 10 flows
cable_out_and_in() {  # what happens meanwhile
    "$LAB" link 2 down
    "$@"
    sleep "$out"
    mark
    "$LAB" link 2 up
}
cable_out_and_in true
until_counts client 60 flows
figure "flowing again after a cable was out for $out s" $(($(count client time) - at)) ms
missing=-1
rush_is_over() {  # no more and no fewer calls without an answer than a moment ago
    local before=$missing
    missing=$(($(count client asked) - $(count client answered)))
    ((missing == before))
}
until_counts client 10 rush_is_over
figure "calls that full pipes lost in the rush, of $(count client asked)" "$missing" calls
figure "events that full pipes lost in the rush" $(($(count client last) - $(count client events))) events
stood client

cable_out_and_in kill_peer service
await client '0 down' 1 60
figure "loss of a service told that was killed while the cable was out for $out s" $((when - at)) ms
# Its kernel may still be closing the old connection, which has the port.
for ((starts = 2; starts < 100; ++starts)); do
    serve
    await service 'ready|failed 98' "$starts"
    [[ $line != *ready ]] || break
    sleep 0.1
done
figure "starts of the service until its port was free" $((starts - 1)) starts
await client '0 link 0' 2
