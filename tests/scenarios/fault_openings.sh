#!/usr/bin/env bash
# Strangers at a service's port: many that open and vanish at every stage, by close and by reset; some that stop in the
# middle of the opening exchange and stay; one that sends a byte now and then. A client goes on all the while, and
# nothing is left of them.
source "${LAB%/*}/vocabulary.bash"
in_lab 3

# Among other tests the machine itself may take more than the tenth that the long form allows.
least=${LEAST:-75} drip=${DRIP:-0.02}
peer service 2 serve 4000 1 50 64
await service ready
peer client 1 use 198.51.100.2 4000 1 100
await client '0 link 0'
ask service client
blocks=$(count service blocks) before=$(descriptors service)
answered=$(count client answered) asked=$(count client asked) since=$(count client time)
stranger drip 3 drip 198.51.100.2 4000 "$drip"

stranger vanish 3 vanish 198.51.100.2 4000 500
wait "${pid_of[vanish]}"
# The one that drips is there, too, or it has ended.
nobody_left() { (($(descriptors service) - before <= 1)); }
until_counts service 30 nobody_left
figure "connections that opened and vanished" 500 connections
figure "blocks that are left of them" $(($(count service blocks) - blocks)) bytes
figure "clients, and links, that the service counts without them, where a full pipe refused notices" \
    "$(($(count service up) - 1)), $(($(count service linked) - 1))" ""
(($(count service blocks) <= blocks + 20000)) || fail "$(tail -n 1 /run/service)"

stranger held 3 hold 198.51.100.2 4000 50 10
await held 'held 50'
until_counts service 30 eval '(($(descriptors service) >= before + 50))'
sleep 1
(($(descriptors service) >= before + 50)) || fail "an opening that stands still was ended"
figure "openings that stand still, each with its descriptor" 50 connections
kill_peer held
until_counts service 30 nobody_left

wait "${pid_of[drip]}"
await drip answered
figure "seconds between two bytes of a client that was answered in the end" "$drip" s
until_counts service 30 eval '(($(descriptors service) == before))'

ask client
took=$(($(count client time) - since)) asked=$(($(count client asked) - asked))
answered=$(($(count client answered) - answered))
figure "calls of the client beside them, in $took ms" $asked calls
figure "of these answered" $answered calls
((answered * 100 >= asked * least)) || fail "the client was held up"
stood client
