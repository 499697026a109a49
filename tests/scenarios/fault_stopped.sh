#!/usr/bin/env bash
# One client of many of a service, and one service of many of a client, stand still for a while: the others go on at
# their rates, what waits for the two costs what it weighs, and they catch up when they go on.
source "${LAB%/*}/vocabulary.bash" || exit
# Among other tests the machine itself may take more than a tenth.
least=$(length 10 90) still=$(length 1 10) others=$(length 4 20) size=$(length 60000 20000) rate=50
# A host for each client: a service takes requests of one number from one host, one after the other, for a repeat.
in_lab $((others + 2))

peer service 1 serve 4000 1 $rate "$size"
await service ready
moving=()
for ((i = 0; i <= others; ++i)); do
    peer "client$i" $((i + 2)) use 198.51.100.1 4000 1 $rate
    peer "service$i" 2 serve $((5000 + i)) 1 5 4
    await "client$i" '0 link 0'
    await "service$i" ready
    ((i == 0)) || moving+=("client$i" "service$i")
done
# A process that begins so many connections at once may miss the notice of one of them: that one begins anew.
peer client 1 use 198.51.100.2 5000 $((others + 1)) $rate $((still + 3))
until_counts 60 'client_linked >= others + 1' client

ask service client "${moving[@]}"
declare -A had
for name in "${moving[@]}"; do had[$name]=$((${name}_answered)); done
events=$service_events asked=$client_asked service_had=$service_blocks client_had=$client_blocks
kill -STOP "${pid_of[client0]}" "${pid_of[service0]}"
sleep "$still"
ask service client "${moving[@]}"
lowest=1000000
for name in "${moving[@]}"; do
    lowest=$(((answered = ${name}_answered - ${had[$name]}) < lowest ? answered : lowest))
done
figure "least calls of $others other clients and services answered while one stood still for $still s" "$lowest" calls
((lowest * 100 >= rate * still * least)) || fail "one that stands still holds up others"
waiting() {  # for whom, blocks, messages and their weight, what may be under way besides
    figure "blocks held, and messages sent, for the $1 that stood still" "$(($2)), $(($3))" ""
    (($2 <= ($3) * $4 + $5)) || fail "$(($2)) bytes for $(($3)) messages to a $1"
}
waiting client service_blocks-service_had service_events-events $((size + 128)) 500000
waiting service client_blocks-client_had '(client_asked - asked) / (others + 1)' 256 100000

kill -CONT "${pid_of[client0]}" "${pid_of[service0]}"
ask client0 service0
went_on=$client0_time answered=$client0_answered served=$service0_answered
until_counts 30 'client0_answered > answered && service0_answered > served &&
    client0_last + rate / 2 >= service_events &&
    service_blocks <= service_had + 500000 && client_blocks <= client_had + 100000' client0 service0 service client
figure "caught up after it went on" $((client0_time - went_on)) ms
! grep -q down /run/client0 || fail "a connection was lost"
