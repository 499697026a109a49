#!/usr/bin/env bash
# A minute (LONG seconds) of whatever can happen, in an order that the seed decides (SEED, default 1): services killed,
# processes that stand still, cables out, strangers at the ports. Afterwards everything comes right by itself, and
# nothing is left.
source "${LAB%/*}/vocabulary.bash"
in_lab 4

RANDOM=${SEED:-1}
declare -A starts before
serve() {  # 1 or 2: the service on that host; connections that are not over yet keep its port
    until
        peer "service$1" "$1" serve 4000 3 50 2000
        starts[$1]=$((${starts[$1]:-0} + 1))
        await "service$1" 'ready|failed .*' "${starts[$1]}"
        [[ $line == *ready ]]
    do :; done
}
serve 1
serve 2
clients=(client31 client32 client41 client42)
for name in "${clients[@]}"; do
    # The first digit is its host, the second that of its services.
    peer "$name" "${name:6:1}" use "198.51.100.${name:7:1}" 4000 3 50 4
done
all_well() {
    sleep 1
    ask "${clients[@]}"
    local name
    for name in "${clients[@]}"; do (($(count "$name" fed) == 3)) || return 1; done
}
until_all_well() {
    for ((try = 0; try < 60; ++try)); do
        ! all_well || return 0
    done
    fail "$(tail -n 1 /run/client??)"
}
until_all_well
for name in service1 service2 "${clients[@]}"; do before[$name]=$(descriptors "$name"); done

any_of() { one=${*:RANDOM % $# + 1:1}; }  # not in a subshell, which has an order of its own
moment() { sleep "$((RANDOM % 2)).$((RANDOM % 10))"; }
what=0 visits=()
for ((end = SECONDS + ${LONG:-60}; SECONDS < end; ++what)); do
    case $((RANDOM % 5)) in
        0 | 1)
            any_of 1 2
            kill_peer "service$one"
            moment
            serve "$one"
            ;;
        2)
            any_of service1 service2 "${clients[@]}"
            kill -STOP "${pid_of[$one]}"
            moment
            kill -CONT "${pid_of[$one]}"
            ;;
        3)
            any_of 1 2 3 4
            "$LAB" link "$one" down
            moment
            "$LAB" link "$one" up
            ;;
        4)
            any_of 1 2
            start "visit$what" 3 timeout 20 perl "${LAB%/*}/raw_peer.pl" vanish "198.51.100.$one" 4000 50 2>/dev/null
            visits+=("${pid_of[visit$what]}")
            ;;
    esac
done
figure "things that happened" "$what" things

wait "${visits[@]}" || true
until_all_well
figure "until all clients were served by all again" "$try" s
anew=$(cat /run/client?? | grep -c anew || true)
figure "losses that the clients were told, and new starts" "$(cat /run/client?? | grep -c down), $anew" ""

# A client that was stopped while it connected leaves its connection to the service, which keeps it; a stranger whose
# reset was lost with the cable leaves an opening that nobody will end. No descriptor beyond these, and no message.
more() {  # names...: descriptors more than before go to $sum
    local name
    sum=0
    for name; do sum=$((sum + $(descriptors "$name") - ${before[$name]})); done
}
settled() {
    ask service1 service2
    more "${clients[@]}"
    left=$sum
    more service1 service2
    ((left <= anew && sum <= left + 20))
}
until_counts client31 20 settled
figure "connections that stopped clients have left, as clients and services count them" "$left, $sum" connections
for name in service1 service2 "${clients[@]}"; do
    until_counts "$name" 20 eval '(($(count "$name" blocks) < 100000))'
done
