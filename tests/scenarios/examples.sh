#!/usr/bin/env bash
# The documents show the examples that they name, word for word. The tours show what they must between two hosts, and
# the programs of the README work together.
source "${LAB%/*}/vocabulary.bash" || exit
cd "${LAB%/*}/../.." || exit

# A block of code right below the name of an example is that example.
shows() {  # document, how many
    local name shown=0
    while read -r name; do
        diff <(awk -v name="$name" '
            index($0, name) { at = NR }
            at && NR - at <= 4 && /^```(cpp|proto)$/ { copying = 1; next }
            copying && /^```$/ { exit }
            copying' "$1") "$name" || fail "$1 shows another $name"
        ((++shown))
    done < <(grep -A 4 -E '^`examples/[a-z_/]*\.(cpp|proto)`' "$1" | grep -oE '^`examples/[a-z_/]*\.(cpp|proto)' | tr -d '`')
    ((shown >= $2)) || fail "$1 shows only $shown examples"
}
if [[ -z ${VORN35_LAB_HOSTS:-} ]]; then
    shows README.md 2
    shows docs/kinds.md 6
    shows docs/types.md 3
    "$LAB" run --hosts 2 -- bash "$0" &
    # The unreliable ways included, and a receiver that is too slow and loses nothing but what may be lost.
    said=$("$LAB" run --hosts 2 -- bash examples/tour.sh "$BIN") || { code=$?; echo "$said"; exit $code; }
    for shown in "delegate: 1 + 2" "connected again by itself" "signal: a note" "event: the service passes the note" \
        "information by TCP" "information by multicast" "its history, newest first" "the service has kept" \
        "datagram: the service broadcasts" "300 droppable values" "10 events between them" "a call meanwhile"; do
        grep -q "$shown.* ok$" <<<"$said" || fail "nothing of '$shown' in: $said"
    done
    wait $!; exit
fi
start service 2 "$BIN/hello_service"
# Again where the answer was there before the wait for it had begun.
while said=$(timeout 20 "$BIN/hello_client") && [[ $said == VORN_ERR_LOCAL_TIMEOUT_ ]]; do :; done
[[ $said == "hello, client, after "* ]] || fail "$said"
finish service
# In C, with a service that comes later and ends by itself.
start client 1 "$BIN/c_tour" client 198.51.100.2
timeout 40 "$LAB" on 2 "$BIN/c_tour" service
wait "${pid_of[client]}"
