#!/usr/bin/env bash
# All six kinds between two hosts, both ways at once: nothing is missing but what may be, and a process keeps the memory
# and the descriptors that it has after a minute, or half of a shorter run. examples/sure_call.h loses no call. With
# VORN35_PROFILE=reliable nothing at all is refused or missing, but for what may be dropped.
source "${LAB%/*}/vocabulary.bash" || exit
seconds=$(length 3 $((${SOAK_MINUTES:-0} * 60))) rate=$(length 100 200)
in_lab 2

peer service 2 serve_kinds 4000
await service ready
peer client 1 drive_kinds 198.51.100.2 4000
await client linked
RATE=$rate ask service client
early=$((seconds >= 120 ? 60 : seconds / 2))
sleep "$early"
files=$(($(descriptors client) + $(descriptors service))) memory=$(($(resident client) + $(resident service)))
sleep $((seconds - early))
RATE=0 ask client service
set +u  # types without refusals have no count
until_counts 40 'client_sure_waited == client_sure_right && client_sent == service_commands + service_refused85 &&
    client_calls_waited == client_calls_right + client_calls_late &&
    client_signals_waited == client_signals_right + client_signals_late &&
    client_sent == service_refused56 + client_answers + client_refused57 &&
    client_sent == service_refused40 + client_signalled + client_refused41 &&
    service_published == client_news + client_refused69' client service

by_kernel=$(awk '$1 == "Udp:" { dropped = $6 } END { print dropped }' /proc/net/snmp)
# What was sent, taken, and refused by a full pipe, and how many more may be missing.
while read -r sent taken refused may_miss name; do
    missing=$((sent - taken - refused))
    [[ ${VORN35_PROFILE:-} != reliable || $name == *\)* ]] || ((refused + missing == 0)) || fail "$name: not reliable"
    figure "$name sent, refused by a full pipe, missing" "$((sent)), $((refused)), $missing" messages
    ((taken > 0 && missing >= 0 && missing <= may_miss)) || fail "$name"
done <<'TEXT'
client_sent+client_calls_waited service_calls service_refused48+service_refused56 client_calls_late calls
client_sent-service_refused56 client_answers client_refused57 0 answers
client_calls_waited client_calls_right 0 client_calls_late answers that were waited for
client_sent+client_signals_waited service_signals service_refused32+service_refused40 client_signals_late signals
client_sent-service_refused40 client_signalled client_refused41 0 answers to signals
client_signals_waited client_signals_right 0 client_signals_late signals that were waited for
client_sure_waited client_sure_right 0 0 calls by the pattern
client_sent service_commands service_refused85 0 commands
client_sent service_droppable service_refused86b client_dropped commands (droppable)
service_published client_news client_refused69 0 events
service_published client_values client_refused101 0 informations
service_published client_multicast client_refused118b by_kernel informations (multicast)
service_published client_datagrams client_refused6 by_kernel datagrams (UDP)
client_calls_waited client_calls_right 0 client_calls_waited/10 waits that did not run to their limit
TEXT
now=$(($(resident client) + $(resident service)))
figure "resident memory of both, early and at the end" "$memory, $now" bytes
((seconds < 120 || now <= memory + 4000000)) || fail "memory has grown"
until_counts 10 '$(descriptors client) + $(descriptors service) <= files' client service
((client_blocks + service_blocks < 20000 && client_broken + service_broken + client_lost == 0)) || fail "$now"
finish client service
