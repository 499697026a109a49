#!/usr/bin/env bash
# One process with clients of twenty services that are killed and come back together: how many notices of connection and
# loss its full pipe refuses. What it refuses is lost by design; so this measures, and asserts only that clients which are
# stopped and started when they hear nothing for three seconds all come right.
source "${LAB%/*}/vocabulary.bash"
in_lab 2

rounds=${ROUNDS:-20} clients=20 starts=0
serve() {
    peer services 2 serve 4000 "$clients" 20 64
    await services ready $((++starts))
}
serve
peer clients 1 use 198.51.100.2 4000 "$clients" 5
sleep 3
unconnected=0 dead=0
for ((round = 1; round <= rounds; ++round)); do
    kill_peer services
    sleep 0.5
    serve
    sleep 3.5  # links that were refused have been asked for once more
    ask clients
    sleep 0.5
    ask clients
    unconnected=$((unconnected + clients - $(count clients up)))
    dead=$((dead + $(count clients up) - $(count clients fed)))
done
figure "clients of one process that were not told of their connection, of $((rounds * clients))" "$unconnected" clients
figure "clients that count as connected or linked and are not, of $((rounds * clients))" "$dead" clients
kill_peer clients
peer patient 1 use 198.51.100.2 4000 "$clients" 5 3
sleep 5
kill_peer services
serve
all_fed() {
    sleep 1
    ask patient
    (($(count patient fed) == clients))
}
until_counts patient 30 all_fed
figure "clients started anew until all were served" "$(grep -c anew /run/patient || true)" clients
