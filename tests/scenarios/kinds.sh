#!/usr/bin/env bash
# All six kinds between two hosts, both ways at once: nothing is missing but what may be, and a process keeps the memory
# and the descriptors that it has after a minute, or half of a shorter run. examples/sure_call.h loses no call.
source "${LAB%/*}/vocabulary.bash" || exit
seconds=$(length 3 $((${SOAK_MINUTES:-0} * 60))) rate=$(length 100 200)
in_lab 2

peer service 2 serve_kinds 4000
await service ready
peer client 1 drive_kinds 198.51.100.2 4000
await client linked
RATE=$rate ask service client
declare -A files_of memory_of
early=$((seconds >= 120 ? 60 : seconds / 2))
sleep "$early"
for name in client service; do files_of[$name]=$(descriptors $name) memory_of[$name]=$(resident $name); done
sleep $((seconds - early))
RATE=0 ask client service
now=
while
    before=$now
    sleep 0.3
    ask client service
    now=$(tail -qn 1 /run/client /run/service | sed -E 's/.*counts//; s/blocks.*//')
    [[ $now != "$before" ]]
do :; done

balance() {  # name, sent, taken, refused by a full pipe, how many may be missing
    local missing=$(($2 - $3 - $4))
    figure "$1 sent, refused by a full pipe, missing" "$2, $4, $missing" messages
    (($3 > 0 && missing >= 0 && missing <= $5)) || fail "$1"
}
c() { count client "$1"; }
s() { count service "$1"; }
anything=1000000000
for kind in calls signals; do
    case $kind in
        calls) answers=answers types=(48 56 57) ;;
        signals) answers=signalled types=(32 40 41) ;;
    esac
    refused=$(s "refused${types[1]}") late=$(c ${kind}_late)
    balance $kind $(($(c ${kind}_sent) + $(c ${kind}_waited))) "$(s $kind)" $((refused + $(s "refused${types[0]}"))) "$late"
    balance "answers to $kind" $(($(c ${kind}_sent) - refused)) "$(c $answers)" "$(c "refused${types[2]}")" 0
    balance "answers to $kind that were waited for" "$(c ${kind}_waited)" "$(c ${kind}_right)" 0 "$late"
    ((late * 10 < $(c ${kind}_waited))) || fail "$late waits for $kind ran to their limits"
done
balance "calls by the pattern" "$(c sure_waited)" "$(c sure_right)" 0 0
balance commands "$(c commands_sent)" "$(s commands)" "$(s refused85)" 0
balance "commands (droppable)" "$(c droppable_sent)" "$(s droppable)" "$(s refused86b)" $anything
sent=$(s published)
balance events "$sent" "$(c news)" "$(c refused69)" 0
balance informations "$sent" "$(c values)" "$(c refused101)" 0
balance "informations (multicast)" "$sent" "$(c multicast)" "$(c refused118b)" $anything
balance datagrams "$sent" "$(c datagrams)" "$(c refused6)" $anything

for name in client service; do
    memory=$(resident $name)
    figure "$name: resident memory early and at the end" "${memory_of[$name]}, $memory" bytes
    ((seconds < 120 || memory <= memory_of[$name] + 2097152)) || fail "memory of $name"
    (($(descriptors $name) == files_of[$name] && $(count $name blocks) < 20000)) || fail "$name has grown"
    (($(count $name broken) == 0)) || fail "wrong bytes came to $name"
done
(($(c lost) == 0)) || fail "a connection was lost"
finish client service
