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
for name in "${clients[@]}"; do before[$name]=$(descriptors "$name"); done

moment() { sleep "$((RANDOM % 2)).$((RANDOM % 10))"; }
for ((what = 0, end = SECONDS + $(length 4 60); SECONDS < end; ++what)); do
    host=$((RANDOM % 4 + 1)) name=${clients[RANDOM % 4]}
    case $((RANDOM % 3)) in
        0) host=$((host % 2 + 1)) && kill_peer "service$host" && moment && serve "$host" ;;
        1) kill -STOP "${pid_of[$name]}" && moment && kill -CONT "${pid_of[$name]}" ;;
        2) "$LAB" link "$host" down && moment && "$LAB" link "$host" up ;;
    esac
done
until_counts 60 "$all_well" "${clients[@]}"
anew=$(cat /run/client?? | grep -c anew || true)
figure "things that happened, new starts, seconds until all were served again" "$what, $anew, $((SECONDS - end))" ""
# A client that was stopped while it connected leaves that connection, and its descriptor.
for name in "${clients[@]}"; do
    until_counts 30 "\$(descriptors $name) <= before[$name] + anew && ${name}_blocks < 100000" "$name"
done
