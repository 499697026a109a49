#!/usr/bin/env bash
# The example of the typed layer between two hosts: each kind, and a service that is killed and comes back at another
# address, to which the client's streams follow it.
source "${LAB%/*}/vocabulary.bash" || exit
[[ -x $BIN/thermometer_service ]] || { echo "types: built without Protocol Buffers"; exit 77; }
in_lab 2

start service 2 "$BIN/thermometer_service"
await service 'serving on port .*'
start client 1 "$BIN/thermometer_client"
for line in 'hall: 20\.0*' 'attic: failed, 7: no such room: attic' 'delegated: 20\.0*' 'co_await hall: 20\.0*' \
    'co_await attic: failed, 7: .*' 'reset: arrived' 'target: sent' 'alarm: hall' 'current: [0-9]+' 'raw: 64'; do
    await client "$line"
done
echo >/run/client.key
await client 'hall: 22\.50*'  # the command has come

kill_peer service
rm /run/service
start service 2 "$BIN/thermometer_service"
await service 'serving on port .*'
count() { grep -c "^$1:" /run/client; }
current=$(count current) alarm=$(count alarm) raw=$(count raw)
await client 'current: .*' $((current + 3))
await client 'raw: .*' $((raw + 3))
echo >/run/client.key  # the new service knows no level yet
await client 'reset: arrived' 3
await client 'alarm: .*' $((alarm + 3))
finish client
await client 'history: [1-9][0-9]*'
finish service
