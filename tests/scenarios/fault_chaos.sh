#!/usr/bin/env bash
# What can happen, in an order that the seed decides (SEED, default 1): services killed, processes that stand still,
# cables out. Afterwards everything comes right by itself, and nothing is left.
source "${LAB%/*}/vocabulary.bash" || exit
in_lab 4

RANDOM=${SEED:-1}
declare -A starts=([1]=0 [2]=0) before
serve() {  # the service on host 1 or 2; connections that are not over yet keep its port
    while
        peer "service$1" "$1" serve 4000 3 50 2000
        await "service$1" 'ready|failed .*' $((++starts[$1]))
        [[ $line != *ready ]]
    do :; done
}
serve 1
serve 2
clients=(client31 client32 client41 client42)
# The first digit is its host, the second that of its services.
for name in "${clients[@]}"; do peer "$name" "${name:6:1}" use "198.51.100.${name:7:1}" 4000 3 50 4; done
all_well='client31_fed + client32_fed + client41_fed + client42_fed == 12'
until_counts 60 "$all_well" "${clients[@]}"
for name in service1 service2 "${clients[@]}"; do before[$name]=$(descriptors "$name"); done

any_of() { one=${*:RANDOM % $# + 1:1}; }  # not in a subshell, which has an order of its own
moment() { sleep "$((RANDOM % 2)).$((RANDOM % 10))"; }
for ((what = 0, end = SECONDS + $(length 4 60); SECONDS < end; ++what)); do
    any_of 1 2
    case $((RANDOM % 4)) in
        0 | 1)
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
    esac
done
ended=$SECONDS
until_counts 60 "$all_well" "${clients[@]}"
anew=$(cat /run/client?? | grep -c anew || true)
figure "things that happened, losses that the clients were told, new starts, seconds until all were served again" \
    "$what, $(cat /run/client?? | grep -c down), $anew, $((SECONDS - ended))" ""
# A client that was stopped while it connected leaves its connection to the service, which keeps it. No descriptor beyond
# these, and no message.
more() {  # names...: descriptors more than before
    local name sum=0
    for name; do sum=$((sum + $(descriptors "$name") - ${before[$name]})); done
    echo "$sum"
}
until_counts 30 '$(more "${clients[@]}") <= anew && $(more service1 service2) <= anew &&
    service1_blocks + service2_blocks + client31_blocks + client42_blocks < 200000' service1 service2 client31 client42
