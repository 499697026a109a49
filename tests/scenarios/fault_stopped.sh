#!/usr/bin/env bash
# One client of many of a service, and one service of many of a client, stand still for a while: the others go on at
# their rates, what waits for the two costs what it weighs, and they catch up when they go on.
source "${LAB%/*}/vocabulary.bash" || exit
# Among other tests the machine itself may take more than a tenth.
least=$(length 50 90) still=$(length 1 10) others=$(length 4 20) size=$(length 60000 20000) rate=50
# A host for each client: a service takes requests of one number from one host, one after the other, for a repeat.
in_lab $((others + 2))

peer service 1 serve 4000 1 $rate "$size"
await service ready
moving=()
for ((i = 0; i <= others; ++i)); do
    peer "client$i" $((i + 2)) use 198.51.100.1 4000 1 $rate
    peer "service$i" 2 serve $((5000 + i)) 1 0 0
    ((i == 0)) || moving+=("client$i" "service$i")
done
for ((i = 0; i <= others; ++i)); do
    await "client$i" '0 link 0'
    await "service$i" ready
done
linked() { (($(count client linked) == others + 1)); }
# A process that begins so many connections at once may miss the notice of one of them: then it begins again.
while
    peer client 1 use 198.51.100.2 5000 $((others + 1)) $rate
    ! counts_come client 5 linked
do kill_peer client; done

declare -A had at
# Answers and events a second since the last time, of those that work alone; the lowest of them goes to $lowest.
rates() {
    local name now has per_second
    lowest=1000000
    ask "${moving[@]}"
    for name in "${moving[@]}"; do
        now=$(count "$name" time) has=$(($(count "$name" answered) + $(count "$name" events)))
        per_second=$(((has - ${had[$name]:-0}) * 1000 / (now - ${at[$name]:-0})))
        had[$name]=$has at[$name]=$now
        ((per_second >= lowest)) || lowest=$per_second
    done
}
rates
sleep "$still"
rates
before=$lowest
# Each of the two, with what it has in store.
ask service client
events=$(count service events) asked=$(count client asked)
blocks=$(count service blocks) client_blocks=$(count client blocks)
kill -STOP "${pid_of[client0]}" "${pid_of[service0]}"
sleep "$still"
rates
figure "lowest rate of $others other clients and services before, and while one stands still" "$before, $lowest" /s
((lowest * 100 >= before * least)) || fail "$lowest/s after $before/s"
ask service client
waiting() {  # for whom, blocks, messages and their weight, what may be under way besides
    figure "blocks held, and messages sent, for a $1 that stood still for $still s" "$2, $3" ""
    (($2 <= $3 * $4 + $5)) || fail "$2 bytes for $3 messages to a $1"
}
waiting client $(($(count service blocks) - blocks)) $(($(count service events) - events)) $((size + 128)) 500000
waiting service $(($(count client blocks) - client_blocks)) $((($(count client asked) - asked) / (others + 1))) 256 100000

kill -CONT "${pid_of[client0]}" "${pid_of[service0]}"
ask client0 service0
went_on=$(count client0 time) answered=$(count client0 answered) served=$(count service0 answered)
caught_up() {
    ask service client service0
    (($(count client0 answered) > answered && $(count service0 answered) > served &&
        $(count client0 last) + rate / 2 >= $(count service events) &&
        $(count service blocks) <= blocks + 500000 && $(count client blocks) <= client_blocks + 100000))
}
until_counts client0 30 caught_up
figure "caught up after it went on" $(($(count client0 time) - went_on)) ms
figure "events that its full pipe refused in the rush" $(($(count client0 last) - $(count client0 events))) events
stood client0
! grep -q down /run/client || fail "a connection was lost"
