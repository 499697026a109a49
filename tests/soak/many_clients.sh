#!/usr/bin/env bash
# 1,000 clients connected to one process: what a connection costs in memory and, while it is idle, in processor time; and
# whether all of them are answered afterwards.
set -euo pipefail

if [[ ${1:-} != inside ]]; then
    ulimit -n "$(ulimit -Hn)"
    exec "$LAB" run --hosts 1 -- bash "$0" inside
fi
clients=1000
idle=60

# Attempts that the listener's short queue drops are made again by the kernel after seconds: a service of so many clients
# has a longer one.
mkdir -p /run/place/Config /run/place/work
sed 's/^ *//' >/run/place/Config/vorn.ini <<'TEXT'
    [VORN]
    AUTO_DISCONNECT=yes
    SERVER_SOCKET_REUSE=yes
    SERVER_LISTEN_BACKLOG=1024
    SERVER_LINGER_USE=yes
    SERVER_LINGER_TIME=1024
    SERVER_NAGLE_OFF_USE=yes
    CLIENT_LINGER_USE=yes
    CLIENT_LINGER_TIME=1024
    CLIENT_NAGLE_OFF_USE=yes
TEXT
cd /run/place/work

mkfifo to_service from_service to_clients from_clients
timeout 600 "$BIN/many_clients" serve 4000 <to_service >from_service &
exec 4>to_service 3<from_service
timeout 600 "$BIN/many_clients" connect 4000 "$clients" <to_clients >from_clients 4>&- &
exec 6>to_clients 5<from_clients
figure() { echo "figure: $1 = $2 $3"; }
read -r line <&3
[[ $line == ready ]]

# memory in KiB, descriptors, processor seconds, clients told of, calls refused
look() { echo look >&4 && read -r resident descriptors seconds told refused <&3; }
look
empty=$resident
until_said() {
    while read -r line <&5; do
        [[ $line != "$1" ]] || return 0
        echo "$line"
        said+=$line$'\n'
    done
    return 1
}
said=
until_said connected
look
figure "service's memory per connection" "$(((resident - empty) * 1024 / clients))" bytes
figure "service's descriptors" "$descriptors" ""
figure "connections that the service was told of" "$told" ""
before=$seconds
sleep "$idle"
look
figure "processor time per idle connection and second" \
    "$(awk "BEGIN { print ($seconds - $before) / $clients / $idle * 1e6 }")" us
for how in "1 0 0" "1 1 0" "10 0 20"; do
    echo "$how" >&6
    until_said called
done
look
figure "calls refused by a full pipe" "$refused" ""
figure "service's memory at the end" "$resident" KiB
exec 6>&- 4>&-
wait
# All at once, most are refused and asked again, for as long as it takes. Spread, each must be answered soon.
grep -q "begun within 20 s: answered = $((clients * 10))\$" <<<"$said"
