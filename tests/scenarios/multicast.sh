#!/usr/bin/env bash
# A value leaves as one datagram for each interface that has unreliable clients, however many they are, and each of them
# gets it once: on the service's own host by both of its addresses, on two others, and over a second cable.
source "${LAB%/*}/vocabulary.bash" || exit
in_lab 3

"$LAB" cable 2 3
peer service 2 publish 4000
await service ready
declare -A due followers  # what each follower has to say
value=
# One value more for all. A busy client may lose it, and then comes another, three at most.
post() {
    local try follower lost=yes
    for ((try = 0; try < 3 && ${#lost} > 0; ++try)); do
        value+=x lost=
        echo "$value" >/run/service.key
        for follower in "${!followers[@]}"; do
            if said "$follower" "$value" 1 3; then due[$follower]+=$value$'\n'; else lost+=" $follower"; fi
        done
    done
    [[ -z $lost ]] || fail "'$value' did not come to$lost"
}
# Two of one host not one right behind the other: the second request, the same, could be taken for a repeat.
while read -r name host address; do
    peer "$name" "$host" follow "$address" 4000
    await "$name" linked
    due[$name]=linked$'\n' followers[$name]=yes
    post
done <<'TEXT'
loopback 2 127.0.0.1
host_1 1 198.51.100.2
servers_host 2 198.51.100.2
host_3 3 198.51.100.2
host_1_again 1 198.51.100.2
second_cable 3 198.51.100.253
TEXT
# As long as one of an interface is left.
gone=0
for name in host_1 host_3 servers_host second_cable; do
    kill_peer $name
    await service left $((++gone))
    unset "followers[$name]"
    post
done
# A second datagram for an interface would come twice to those that it has.
finish service "${!followers[@]}"
for name in "${!due[@]}"; do
    diff <(sed -E 's/^[0-9]+ //' "/run/$name") <(printf %s "${due[$name]}") || fail "what was seen by $name"
done
