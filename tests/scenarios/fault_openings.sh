#!/usr/bin/env bash
# Strangers at a service's port: many that open and vanish at every stage, by close and by reset; some that stop in the
# middle of the opening exchange and stay; one that sends a byte now and then. A client goes on all the while, and
# nothing is left of them.
set -euo pipefail

if [[ ${1:-} != inside ]]; then
    exec "$LAB" run --hosts 3 -- bash "$0" inside
fi
source "$(dirname "$LAB")/peers.bash"
strangers=$(dirname "$0")/raw_peer.pl

# Among other tests the machine itself may take more than the tenth that the long form allows.
least=${LEAST:-75} drip=${DRIP:-0.02}
peer service 2 serve 4000 1 50 64
await service ready
peer client 1 use 198.51.100.2 4000 1 100
await client '0 link 0'
ask service client
blocks=$(count service blocks) before=$(descriptors service)
answered=$(count client answered) asked=$(count client asked) since=$(count client time)
"$LAB" on 3 perl "$strangers" drip 198.51.100.2 4000 "$drip" >/run/drip &
dripping=$!

"$LAB" on 3 perl "$strangers" vanish 198.51.100.2 4000 500
alone() { (($(descriptors service) == before + ${1:-1})); }  # the one that drips is there, too, or it has ended
nobody_left() { alone 1 || alone 0; }
until_counts service 30 nobody_left
ask service
figure "connections that opened and vanished" 500 connections
figure "blocks that are left of them" $(($(count service blocks) - blocks)) bytes
figure "clients, and links, that the service counts without them, where a full pipe refused notices" \
    "$(($(count service up) - 1)), $(($(count service linked) - 1))" ""
(($(count service blocks) <= blocks + 20000)) || fail "$(tail -n 1 /run/service)"

start held 3 perl "$strangers" hold 198.51.100.2 4000 50 10
await held 'held 50'
until_counts service 30 eval '(($(descriptors service) >= before + 50))'
sleep 1
(($(descriptors service) >= before + 50)) || fail "an opening that stands still was ended"
figure "openings that stand still, each with its descriptor" 50 connections
kill_peer held
until_counts service 30 nobody_left

wait "$dripping"
await drip answered
figure "seconds between two bytes of a client that was answered in the end" "$drip" s
until_counts service 30 alone 0

ask client
took=$(($(count client time) - since))
figure "calls of the client beside them, in $took ms" $(($(count client asked) - asked)) calls
figure "of these answered" $(($(count client answered) - answered)) calls
((($(count client answered) - answered) * 100 >= ($(count client asked) - asked) * least)) || fail "the client was held up"
[[ $(grep -v counts /run/client | cut -d' ' -f3-) == $'up\nlink 0' ]] || fail "$(</run/client)"
