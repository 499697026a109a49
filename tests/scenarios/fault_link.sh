#!/usr/bin/env bash
# A cable that is out for a while in the middle of traffic: the connection stands, and everything goes on.
source "${LAB%/*}/vocabulary.bash" || exit
out=$(length 0.5 10)
in_lab 2

peer service 2 serve 4000 1 100 64
peer client 1 use 198.51.100.2 4000 1 100
until_counts 10 'client_answered > 0 && client_events > 0' client
"$LAB" link 2 down
sleep "$out"
ask client
answered=$client_answered events=$client_events at=$client_time
"$LAB" link 2 up
until_counts 60 'client_answered > answered && client_events > events' client
figure "flowing again after a cable was out for $out s" $((client_time - at)) ms
# The rush is over when no more and no fewer calls are without an answer than a moment ago.
until_counts 10 '(before = ${missing:--1}) == (missing = client_asked - client_answered)' client
figure "calls, and events, that full pipes lost in the rush" "$missing, $((client_last - client_events))" ""
stood client
