#!/usr/bin/env bash
# All six kinds between two hosts, both ways at once: nothing is missing but what may be. SECONDS_LONG and RATE make it
# more of it.
source "${LAB%/*}/vocabulary.bash"
in_lab 2

start service 2 "$BIN/six_kinds" serve 4000
await service ready
timeout $((${SECONDS_LONG:-3} + 60)) "$BIN/six_kinds" drive 198.51.100.2 4000 "${SECONDS_LONG:-3}" "${RATE:-100}"
finish service
