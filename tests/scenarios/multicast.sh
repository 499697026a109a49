#!/usr/bin/env bash
# A value leaves as one datagram for each interface that has unreliable clients, however many they are, and each of them
# gets it once: on the service's own host by both of its addresses, on two others, and over a second cable.
set -euo pipefail

if [[ ${1:-} != inside ]]; then
    exec "$LAB" run --hosts 3 -- bash "$0" inside
fi

fail() {
    echo "multicast: $1" >&2
    exit 1
}

port=4000
group=232.160.10.11  # of port 0x0FA0 and code 0x0A0B
declare -A out pid   # what a program says, and its id
mkfifo /run/end /run/values
exec 9<>/run/end 8<>/run/values

run() {  # name, host, arguments: a program that ends with the input that all share
    exec {fd}< <(exec "$LAB" on "$2" "$BIN/values" "${@:3}" <"${input:-/run/end}" 8>&- 9>&-)
    out[$1]=$fd pid[$1]=$!
}
expect() {  # name, line
    local line
    read -r -t 20 -u "${out[$1]}" line || fail "$1 says nothing where '$2' is due"
    [[ $line == "$2" ]] || fail "$1 says '$line' where '$2' is due"
}

"$LAB" cable 2 3
input=/run/values run service 2 publish $port
expect service ready
declare -A seen  # by a watcher, as it must be
watchers=("1 eth0" "2 lo" "2 eth0" "2 eth1" "3 eth0" "3 eth1")
for watcher in "${watchers[@]}"; do
    run "$watcher" "${watcher% *}" watch "${watcher#* }" $port
    expect "$watcher" ready
    seen[$watcher]=
done

followers=()
follow() {  # name, host, the service's address there
    run "$1" "$2" follow "$3" $port
    expect "$1" linked
    followers+=("$1")
}

value=
# One value more, each time longer by a byte: one datagram has to leave by each of these interfaces of the service.
# A value may be lost by a busy client, and then comes another, three at most.
post() {
    local try interface follower line lost=yes
    for ((try = 0; try < 3 && ${#lost} > 0; ++try)); do
        value+=x lost=
        echo "$value" >&8
        for interface; do
            # What leaves by the loopback comes in there.
            seen[2 $interface]+="out $group $((20 + ${#value}))"$'\n'
            case $interface in
                lo) seen[2 lo]+="in $group $((20 + ${#value}))"$'\n' ;;
                eth0) seen[1 eth0]+="in $group $((20 + ${#value}))"$'\n'
                      seen[3 eth0]+="in $group $((20 + ${#value}))"$'\n' ;;
                eth1) seen[3 eth1]+="in $group $((20 + ${#value}))"$'\n' ;;
            esac
        done
        for follower in "${followers[@]}"; do
            if ! read -r -t 3 -u "${out[$follower]}" line; then lost+=" $follower"; continue; fi
            [[ $line == "$value" ]] || fail "$follower got '$line' where '$value' was due"
        done
    done
    [[ -z $lost ]] || fail "'$value' did not come to$lost"
}

post
follow "loopback" 2 127.0.0.1
post lo
follow "service's host" 2 198.51.100.2
post lo eth0
follow "host 1" 1 198.51.100.2
follow "host 3" 3 198.51.100.2
# Not right behind the first, whose request is the same, from the same host: it could be taken for a repeat.
follow "host 1 again" 1 198.51.100.2
post lo eth0
follow "second cable" 3 198.51.100.253
post lo eth0 eth1

# As long as one of them is left, and no longer.
left() {
    kill -KILL "${pid[$1]}"
    expect service left
    local follower kept=()
    for follower in "${followers[@]}"; do [[ $follower == "$1" ]] || kept+=("$follower"); done
    followers=("${kept[@]}")
}
left "host 1"
left "host 3"
left "service's host"
post lo eth0 eth1
left "host 1 again"
post lo eth1

# The end of the input; nobody has anything more to say than what is due.
exec 9>&- 8>&-
for name in "${watchers[@]}" "${followers[@]}"; do
    diff <(cat <&"${out[$name]}") <(printf %s "${seen[$name]:-}") || fail "that was seen by: $name"
    wait "${pid[$name]}" || fail "the end of $name"
done
wait "${pid[service]}" || fail "the end of the service"
