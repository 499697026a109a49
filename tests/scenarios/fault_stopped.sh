#!/usr/bin/env bash
# One peer of many stands still for a while: the others go on at their rates, what waits for it costs what it weighs,
# and it follows when it goes on. Once it is a client, and once a service.
source "${LAB%/*}/vocabulary.bash"
# Among other tests the machine itself may take more than the tenth that the long form allows.
least=${LEAST:-75} still=${STILL:-2} others=${OTHERS:-4} rate=50 size=${SIZE:-60000}

if (($# == 0)); then
    "$LAB" run --hosts 2 -- bash "$0" service &
    # A host for each: a service takes requests of one number from one host, one after the other, for a repeat.
    "$LAB" run --hosts $((others + 2)) -- bash "$0" client
    wait $!
    exit
fi

# Of each of these the first stands still; one process has to do with all of them.
one=$1 all=()
for ((i = 0; i <= others; ++i)); do all+=("$one$i"); done
if [[ $one == client ]]; then
    hub=service
    peer service 1 serve 4000 1 "$rate" "$size"
    await service ready
    for ((i = 0; i <= others; ++i)); do peer "client$i" $((i + 2)) use 198.51.100.1 4000 1 "$rate"; done
    for name in "${all[@]}"; do await "$name" '0 link 0'; done
    queued() { count service events; }
    weight=$((size + 2 * 64)) under_way=500000
else
    hub=client
    for ((i = 0; i <= others; ++i)); do peer "service$i" 2 serve $((4000 + i)) 1 0 0; done
    for name in "${all[@]}"; do await "$name" ready; done
    linked() { (($(count client linked) == others + 1)); }
    # A process that begins so many connections at once may miss the word of one of them: then it begins again.
    while
        peer client 1 use 198.51.100.2 4000 $((others + 1)) "$rate"
        ! counts_come client 5 linked
    do kill_peer client; done
    queued() { echo $(($(count client asked) / (others + 1))); }
    weight=256 under_way=100000
fi

# Answers and events a second since the last time, of those that work alone; the lowest of them goes to $lowest.
declare -A had at
rates() {
    local name now has rate_now
    lowest=1000000
    ask "${all[@]:1}"
    for name in "${all[@]:1}"; do
        now=$(count "$name" time) has=$(($(count "$name" answered) + $(count "$name" events)))
        rate_now=$(((has - ${had[$name]:-0}) * 1000 / (now - ${at[$name]:-0})))
        had[$name]=$has at[$name]=$now
        ((rate_now >= lowest)) || lowest=$rate_now
    done
}
sleep 1  # the rush of the start
rates
sleep "$still"
rates
before=$lowest
ask "$hub"
blocks=$(count "$hub" blocks) rss=$(count "$hub" rss) queued=$(queued)

kill -STOP "${pid_of[${all[0]}]}"
sleep "$still"
rates
figure "lowest rate of $others other ${one}s before, calls and events" "$before" /s
figure "lowest rate of $others other ${one}s while one stands still" "$lowest" /s
((lowest * 100 >= before * least)) || fail "$lowest/s after $before/s"
ask "$hub"
grown=$(($(count "$hub" blocks) - blocks)) queued=$(($(queued) - queued))
figure "blocks that the $hub holds for a $one that stood still for $still s" "$grown" bytes
figure "messages for it meanwhile" "$queued" messages
figure "growth of the $hub's resident memory" $(($(count "$hub" rss) - rss)) bytes
((grown <= queued * weight + under_way)) || fail "$grown bytes for $queued messages"

kill -CONT "${pid_of[${all[0]}]}"
ask "${all[0]}"
went_on=$(count "${all[0]}" time) answered=$(count "${all[0]}" answered)
caught_up() {
    ask "$hub"
    (($(count "${all[0]}" answered) > answered && $(count "$hub" blocks) <= blocks + under_way)) &&
        { [[ $one == service ]] || (($(count client0 last) + rate / 2 >= $(count service events))); }
}
until_counts "${all[0]}" 30 caught_up
figure "caught up after it went on" $(($(count "${all[0]}" time) - went_on)) ms
if [[ $one == client ]]; then
    figure "events that its full pipe refused in the rush" $(($(count client0 last) - $(count client0 events))) events
    stood client0
else
    ! grep -q down /run/client || fail "a connection was lost"
fi
