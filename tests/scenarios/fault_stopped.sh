#!/usr/bin/env bash
# One peer of many stands still for a while: the others go on at their rates, what waits for it costs what it weighs, and
# it follows when it goes on.
set -euo pipefail

if [[ ${1:-} != inside ]]; then
    "$LAB" run --hosts 2 -- bash "$0" inside a_service &
    # A host for each: a service takes requests of one number from one host, one after the other, for a repeat.
    "$LAB" run --hosts $((${OTHERS:-4} + 2)) -- bash "$0" inside a_client
    wait $!
    exit
fi
source "$(dirname "$LAB")/peers.bash"

# Among other tests the machine itself may take more than the tenth that the long form allows.
least=${LEAST:-75} still=${STILL:-2} others=${OTHERS:-4} rate=50 size=${SIZE:-60000}

# Answers and events a second since the last time, of peers that work alone; the lowest of them goes to $lowest.
declare -A had at
rates() {  # names...
    local name now has rate_now
    lowest=1000000
    ask "$@"
    for name; do
        now=$(count "$name" time) has=$(($(count "$name" answered) + $(count "$name" events)))
        rate_now=$(((has - ${had[$name]:-0}) * 1000 / (now - ${at[$name]:-0})))
        had[$name]=$has at[$name]=$now
        ((rate_now >= lowest)) || lowest=$rate_now
    done
}

compare() {  # who, before, during
    figure "lowest rate of $1 before, calls and events" "$2" /s
    figure "lowest rate of $1 while one stands still" "$3" /s
    (($3 * 100 >= $2 * least)) || fail "$1: $3/s after $2/s"
}

a_client() {
    local i names=()
    peer service 1 serve 4000 1 "$rate" "$size"
    await service ready
    peer still 2 use 198.51.100.1 4000 1 "$rate"
    for ((i = 1; i <= others; ++i)); do
        peer "other$i" $((i + 2)) use 198.51.100.1 4000 1 "$rate"
        names+=("other$i")
    done
    for name in still "${names[@]}"; do await "$name" '0 link 0'; done
    sleep 1  # the rush of the start
    rates "${names[@]}"
    sleep "$still"
    rates "${names[@]}"
    local before=$lowest blocks rss published
    ask service
    blocks=$(count service blocks) rss=$(count service rss) published=$(count service events)

    kill -STOP "${pid_of[still]}"
    sleep "$still"
    rates "${names[@]}"
    compare "$others other clients" "$before" "$lowest"
    ask service
    local grown=$(($(count service blocks) - blocks)) queued=$(($(count service events) - published))
    figure "blocks that the service holds for a client that stood still for $still s" "$grown" bytes
    figure "events of $size bytes for it meanwhile" "$queued" events
    figure "growth of the service's resident memory" $(($(count service rss) - rss)) bytes
    # Each has a header for itself and a block with a place for one; the rest is what is under way to the others.
    ((grown <= queued * (size + 2 * 64) + 500000)) || fail "$grown bytes for $queued events"

    kill -CONT "${pid_of[still]}"
    local went_on
    ask still
    went_on=$(count still time)
    caught_up() {
        ask service
        (($(count still last) + rate / 2 >= $(count service events) &&
            $(count service blocks) <= blocks + 500000))
    }
    until_counts still 30 caught_up
    figure "caught up after it went on" $(($(count still time) - went_on)) ms
    figure "events that its full pipe refused in the rush" $(($(count still last) - $(count still events))) events
    [[ $(grep -v counts /run/still | cut -d' ' -f3-) == $'up\nlink 0' ]] || fail "$(</run/still)"
}

a_service() {
    local i names=()
    for ((i = 0; i <= others; ++i)); do
        peer "service$i" 2 serve $((4000 + i)) 1 0 0
        await "service$i" ready
    done
    # A process that begins so many connections at once may miss the word of one of them: then it begins again.
    local try
    for ((try = 0; try < 10; ++try)); do
        peer client 1 use 198.51.100.2 4000 $((others + 1)) "$rate"
        for ((i = 0; i < 50; ++i)); do
            ask client
            (($(count client linked) < others + 1)) || break 2
            sleep 0.1
        done
        kill_peer client
    done
    ((try < 10)) || fail "$(</run/client)"
    for ((i = 1; i <= others; ++i)); do names+=("service$i"); done
    rates "${names[@]}"
    sleep "$still"
    rates "${names[@]}"
    local before=$lowest blocks asked
    ask client
    blocks=$(count client blocks) asked=$(count client asked)

    kill -STOP "${pid_of[service0]}"
    sleep "$still"
    rates "${names[@]}"
    # These serve no events: what they answer is what the client asks them.
    compare "$others other services" "$before" "$lowest"
    ask client
    local grown=$(($(count client blocks) - blocks)) queued=$((($(count client asked) - asked) / (others + 1)))
    figure "blocks that the client holds for a service that stood still for $still s" "$grown" bytes
    figure "calls for it meanwhile" "$queued" calls
    ((grown <= queued * 256 + 100000)) || fail "$grown bytes for $queued calls"

    kill -CONT "${pid_of[service0]}"
    ask service0
    local answered
    answered=$(count service0 answered)
    goes_on() { (($(count service0 answered) > answered)); }
    until_counts service0 30 goes_on
    ! grep -q down /run/client || fail "a connection was lost"
}

"$2"
