#!/usr/bin/env bash
# The tour shows all six kinds between two hosts, the unreliable ways included, and a receiver that is too slow and
# loses nothing but what may be lost; and all is as it should be.
source "${LAB%/*}/vocabulary.bash"
code=0
said=$("$LAB" run --hosts 2 -- bash "${0%/*}/../../examples/tour.sh" "$BIN") || code=$?
((code == 0)) || { echo "$said"; exit "$code"; }
for shown in "delegate: 1 + 2" "connected again by itself" "signal: a note" "event: the service passes the note on" \
    "information by TCP" "information by multicast" "its history, newest first" "the service has kept" \
    "datagram: the service broadcasts" "300 droppable values" "10 events between them" "a call meanwhile"; do
    grep -q "$shown.* ok$" <<<"$said" || fail "nothing of '$shown' in: $said"
done
