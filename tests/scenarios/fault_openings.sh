#!/usr/bin/env bash
# Strangers at a service's port: many that open and vanish at every stage, by close and by reset; some that stop in the
# middle of the opening exchange and stay; one that sends a byte now and then. A client goes on all the while, and
# nothing is left of them.
source "${LAB%/*}/vocabulary.bash" || exit
# Among other tests the machine itself may take more than a tenth.
least=$(length 75 90) drip=$(length 0.02 1)
in_lab 3

peer service 2 serve 4000 1 50 64
await service ready
peer client 1 use 198.51.100.2 4000 1 100
await client '0 link 0'
ask service client
blocks=$service_blocks before=$(descriptors service) answered=$client_answered asked=$client_asked
stranger drip 3 drip 198.51.100.2 4000 "$drip"
stranger vanish 3 vanish 198.51.100.2 4000 500
wait "${pid_of[vanish]}"
# The one that drips is there, too, or it has ended.
until_counts 30 '$(descriptors service) - before <= 1' service
figure "blocks that are left of 500 connections that opened and vanished" $((service_blocks - blocks)) bytes
((service_blocks <= blocks + 20000)) || fail "$(tail -n 1 /run/service)"
stranger held 3 hold 198.51.100.2 4000 50 10
await held 'held 50'
until_counts 30 '$(descriptors service) >= before + 50' service
sleep "$(length 0.3 10)"
(($(descriptors service) >= before + 50)) || fail "an opening that stands still was ended"
kill_peer held
wait "${pid_of[drip]}"
await drip answered
until_counts 30 '$(descriptors service) == before' service client
asked=$((client_asked - asked)) answered=$((client_answered - answered))
figure "calls of the client beside them, and answers" "$asked, $answered" ""
((answered * 100 >= asked * least)) || fail "the client was held up"
stood client
