#!/usr/bin/env bash
# The directory of names in trouble: its port is another program's; two processes publish one name; a cable is out.
source "${LAB%/*}/vocabulary.bash"
in_lab 3

# Its port is taken: by address everything works, the name is unknown to all, and the port comes with the next start.
stranger thief 3 hear 9845
await thief ready
peer first 2 serve 4001 1 0 0 twice
peer deaf 3 serve 4002 1 10 64
await deaf ready
peer finder 1 find twice
await finder 'found 198.51.100.2:4001'
peer deaf_finder 3 find twice
peer user 1 use 198.51.100.3 4002 1 50
await user '0 link 0'
until_counts user 30 eval '(($(count user answered) > 20 && $(count user events) > 5))'
kill_peer deaf
[[ $(<"/run/deaf_finder") == *" lost" ]] || fail "heard without the port: $(</run/deaf_finder)"
kill_peer thief
kill_peer deaf_finder
peer finder_again 3 find twice
await finder_again 'found 198.51.100.2:4001'

# Two of one name: each is found in turn, a connection stays with the one it was made to.
peer second 3 serve 4003 1 0 0 twice
await finder 'found 198.51.100.3:4003'
await finder 'found 198.51.100.2:4001' 2
peer stays 1 use 198.51.100.3 4003 1 50
await stays '0 up'
await finder 'found 198.51.100.3:4003' 3
! grep -q down /run/stays || fail "a connection changed sides"
kill_peer second
await stays '0 down'
gone=$when
# What the last one heard of was killed: the other's next word counts, and nobody waits eight seconds.
sleep 2.5
[[ $(tail -n 1 /run/finder) == *"found 198.51.100.2:4001" ]] || fail "$(</run/finder)"
last=$(tail -n 1 /run/finder)
figure "a name is right again after one of its two processes was killed" \
    $((${last%% *} > gone ? ${last%% *} - gone : 0)) ms

# A cable that is out for longer than a name lives: known again with the first word after.
if [[ -n ${OUT:-} ]]; then
    "$LAB" link 2 down
    await finder lost 2
    "$LAB" link 2 up
    ask finder
    up=$(count finder time)
    await finder 'found 198.51.100.2:4001' "$(($(grep -c 'found 198.51.100.2:4001' /run/finder) + 1))"
    figure "a name is known again after its cable was out" $((when - up)) ms
fi
