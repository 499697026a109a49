#!/usr/bin/env bash
# A service that is killed and started again: its clients are back by their next beat, told in order, and linked again.
# Where more arrive in one moment than the queue of the port holds, the kernel puts some off for another second.
source "${LAB%/*}/vocabulary.bash" || exit
kills=$(length 2 10) clients=$(length 2 20)
# A host for each: a service takes requests of one number from one host, one after the other, for a repeat.
in_lab $((clients + 1))

names=()
for ((i = 1; i <= clients; ++i)); do
    names+=("client$i")
    peer "client$i" $((i + 1)) use 198.51.100.1 4000 1 50
done
worst=0 due=
for ((round = 0; round <= kills; ++round)); do
    peer service 1 serve 4000 1 100 64
    await service ready $((round + 1))
    listening=$when
    for name in "${names[@]}"; do
        await "$name" '0 up' $((round + 1))
        took=$((when - listening))
        ((took <= worst)) || worst=$took
        await "$name" '0 link 0' $((round + 1))
    done
    due+=$'up\nlink 0\n'
    ((round < kills)) || break
    kill_peer service
    for name in "${names[@]}"; do await "$name" '0 down' $((round + 1)); done
    due+=$'unlink VORN_ERR_DISCONNECTED_TCP_\ndown\n'
    sleep "0.$((round * 37 % 10))"  # at another place of the clients' beat each time
done
figure "connected after the port listens, worst of $kills kills and $clients clients" "$worst" ms
figure "links asked for once more, since a full pipe refused the request" \
    "$(cat "${names[@]/#//run/}" | grep -c again || true)" "of $((clients * (kills + 1)))"
((worst <= 5000)) || fail "$worst ms"
for name in "${names[@]}"; do
    diff <(grep -Ev 'counts|again' "/run/$name" | cut -d' ' -f3- | uniq) <(printf %s "$due") || fail "what $name said"
    ask "$name"
    answered=${name}_answered events=${name}_events had=$((answered)) heard=$((events))
    until_counts 10 "$answered > had && $events > heard" "$name"
done
