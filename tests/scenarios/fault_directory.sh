#!/usr/bin/env bash
# The directory of names in trouble: its port is another program's; two processes publish one name; in its length, a
# cable is out for longer than a name lives.
source "${LAB%/*}/vocabulary.bash" || exit
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
until_counts 30 'user_answered > 20 && user_events > 5' user
[[ $(grep -v counts /run/deaf_finder) == *" lost" ]] || fail "heard without the port: $(</run/deaf_finder)"
for name in thief deaf_finder; do kill_peer $name; done
peer deaf_finder 3 find twice
await deaf_finder 'found 198.51.100.2:4001'

# Two of one name: each is found in turn, a connection stays with the one it was made to.
peer second 3 serve 4003 1 0 0 twice
await finder 'found 198.51.100.3:4003'
peer stays 1 use 198.51.100.3 4003 1 50
await stays '0 up'
await finder 'found 198.51.100.2:4001' 2
await finder 'found 198.51.100.3:4003' 2
! grep -q down /run/stays || fail "a connection changed sides"
kill_peer second
await stays '0 down'
# Also when it heard last of the one that was killed: the other's next broadcast counts, and nobody waits eight seconds.
gone=$when is_right='$(grep -v counts /run/finder | tail -n 1 | grep -c "found 198.51.100.2:4001")'
until_counts 4 "$is_right" finder
figure "a name is right again after one of its two processes was killed" $((finder_time - gone)) ms
[[ $(length short long) == long ]] || exit 0
"$LAB" link 2 down
await finder lost 2
"$LAB" link 2 up
until_counts 4 "$is_right" finder
