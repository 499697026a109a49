#!/usr/bin/env bash
# A value leaves as one datagram for each interface that has unreliable clients, however many they are, and each of them
# gets it once: on the service's own host by both of its addresses, on two others, and over a second cable.
source "${LAB%/*}/vocabulary.bash" || exit
in_lab 3

"$LAB" cable 2 3
peer service 2 serve_kinds 4000
await service ready
names=()
while read -r name host address; do
    peer "$name" "$host" drive_kinds "$address" 4000
    await "$name" linked
    names+=("$name")
done <<'TEXT'
loopback 2 127.0.0.1
servers_host 2 198.51.100.2
host1 1 198.51.100.2
host1_again 1 198.51.100.2
host3 3 198.51.100.2
second_cable 3 198.51.100.253
TEXT
datagrams() {  # sent by multicast by the service's host
    "$LAB" on 2 awk '/^IpExt:/ { for (i = 1; i <= NF; ++i) if ($i == "OutMcastPkts") at = i; sent = $at }
        END { print sent }' /proc/net/netstat
}
each_gets_it_once() {  # by so many interfaces
    local name sent published=$service_published
    sent=$(datagrams)
    RATE=100 ask service
    sleep 0.4
    RATE=0 ask service
    sleep 0.1
    ask service "${names[@]}"
    published=$((service_published - published)) sent=$(($(datagrams) - sent))
    # The kernel has a few of its own, that tell of groups.
    ((sent >= published * $1 && sent < published * $1 + 15)) || fail "$sent datagrams for $published values by $1 interfaces"
    # A full pipe refuses some.
    for name in "${names[@]}"; do
        ((${name}_multicast > 0 && ${name}_multicast <= service_published)) || fail "values of $name"
    done
}
ask service
each_gets_it_once 3
# As long as one of an interface is left, and no longer.
for name in host1 host3 second_cable servers_host; do kill_peer $name; done
names=(loopback host1_again)
until_counts 20 'service_left == 4' service
each_gets_it_once 2
finish service "${names[@]}"
