#!/usr/bin/env bash
# A value leaves as one datagram for each interface that has unreliable clients, however many they are, and each of them
# gets it once: on the service's own host by both of its addresses, on two others, and over a second cable.
source "${LAB%/*}/vocabulary.bash" || exit
in_lab 3

"$LAB" cable 2 3
peer service 2 publish 4000
await service ready
declare -A due followers  # what each watcher, and each follower, has to say
# What leaves by the loopback comes in there.
declare -A seen_by=([lo]="2-lo:out 2-lo:in" [eth0]="2-eth0:out 1-eth0:in 3-eth0:in" [eth1]="2-eth1:out 3-eth1:in")
for watcher in 1-eth0 2-lo 2-eth0 2-eth1 3-eth0 3-eth1; do
    stranger "$watcher" "${watcher%-*}" watch "${watcher#*-}" 4000
    await "$watcher" ready
    due[$watcher]=ready$'\n'
done
follow() {  # name, host, the service's address there
    peer "$1" "$2" follow "$3" 4000
    await "$1" linked
    due[$1]=linked$'\n' followers[$1]=yes
}
value= gone=0
# One value more, each time longer by a byte: one datagram has to leave by each of these interfaces of the service, to
# the group of port 0x0FA0 and code 0x0A0B. A busy client may lose a value, and then comes another, three at most.
post() {
    local try interface seen follower lost=yes
    for ((try = 0; try < 3 && ${#lost} > 0; ++try)); do
        value+=x lost=
        echo "$value" >/run/service.key
        for interface; do
            for seen in ${seen_by[$interface]}; do due[${seen%:*}]+="${seen#*:} 232.160.10.11 $((20 + ${#value}))"$'\n'; done
        done
        for follower in "${!followers[@]}"; do
            if said "$follower" "$value" 1 3; then due[$follower]+=$value$'\n'; else lost+=" $follower"; fi
        done
    done
    [[ -z $lost ]] || fail "'$value' did not come to$lost"
}
leave() {
    kill_peer "$1"
    await service left $((++gone))
    unset "followers[$1]"
}
post
follow loopback 2 127.0.0.1
post lo
follow servers_host 2 198.51.100.2
follow host_1 1 198.51.100.2
follow host_3 3 198.51.100.2
# Not right behind the first, whose request is the same, from the same host: it could be taken for a repeat.
follow host_1_again 1 198.51.100.2
follow second_cable 3 198.51.100.253
post lo eth0 eth1
# As long as one of an interface is left, and no longer.
for name in host_1 host_3 servers_host; do leave $name; done
post lo eth0 eth1
leave host_1_again
post lo eth1
# Nobody has had anything more to say than what was due.
finish service "${!followers[@]}"
for name in "${!due[@]}"; do
    diff <(sed -E 's/^[0-9]+ //' "/run/$name") <(printf %s "${due[$name]}") || fail "what was seen by $name"
done
