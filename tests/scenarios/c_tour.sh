#!/usr/bin/env bash
# The C tour: the client on one host, the service on another, which comes later and ends by itself.
source "${LAB%/*}/vocabulary.bash"
in_lab 2

start client 1 "$BIN/c_tour" client 198.51.100.2
timeout 40 "$LAB" on 2 "$BIN/c_tour" service
wait "${pid_of[client]}"
