#!/usr/bin/env bash
# A cable that is out for a while in the middle of traffic: the connections stand, and everything goes on. A service that
# is killed and started again, every other time while its cable is out: its clients miss it when the cable is in, are back
# by their next beat, told in order, and linked again. Where more arrive in one moment than the queue of the port holds,
# the kernel puts some off for another second.
source "${LAB%/*}/vocabulary.bash" || exit
kills=$(length 2 10) clients=$(length 2 20) out=$(length 0.5 10)
# A host for each: a service takes requests of one number from one host, one after the other, for a repeat.
in_lab $((clients + 1))

host=$((clients + 1)) names=()
flows() {  # to all, from now on
    local name answered events
    for name in "${names[@]}"; do
        ask "$name"
        answered=${name}_answered events=${name}_events had=$((answered)) heard=$((events))
        until_counts 60 "$answered > had && $events > heard" "$name"
    done
}
for ((i = 1; i <= clients; ++i)); do
    names+=("client$i")
    peer "client$i" $i use "198.51.100.$host" 4000 1 50
done
worst=0 starts=0 due=
for ((round = 0; round <= kills; ++round)); do
    # The kernel may still be closing the connections of the last one, which have the port.
    until
        peer service $host serve 4000 1 100 64
        await service 'ready|failed 98' $((++starts))
        [[ $line == *ready ]]
    do :; done
    listening=$when
    for name in "${names[@]}"; do
        await "$name" '0 up' $((round + 1))
        took=$((when - listening))
        ((took <= worst)) || worst=$took
        await "$name" '0 link 0' $((round + 1))
    done
    due+=$'up\nlink 0\n'
    ((round < kills)) || break
    "$LAB" link $host down
    ((round % 2 == 0)) || kill_peer service
    sleep "$out"
    "$LAB" link $host up
    if ((round % 2 == 0)); then
        flows
        kill_peer service
        sleep "0.$((round * 37 % 10))"  # at another place of the clients' beat each time
    fi
    for name in "${names[@]}"; do await "$name" '0 down' $((round + 1)) 60; done
    due+=$'unlink VORN_ERR_DISCONNECTED_TCP_\ndown\n'
done
figure "connected after the port listens, worst of $kills kills and $clients clients" "$worst" ms
((worst <= 5000)) || fail "$worst ms"
for name in "${names[@]}"; do
    diff <(grep -Ev 'counts|again' "/run/$name" | cut -d' ' -f3- | uniq) <(printf %s "$due") || fail "what $name said"
done
flows
