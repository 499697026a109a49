#!/usr/bin/env bash
# A service out of descriptors: its clients go on, and it takes no other until it is started again, also when there are
# descriptors again.
source "${LAB%/*}/vocabulary.bash" || exit
# The address sanitizer itself takes descriptors to look whether an address is valid.
[[ $(ldd "$BIN/peer") != *libasan* ]] || exit 77
in_lab 3

serve() { start service 2 bash -c "ulimit -n 40; exec \"$BIN/peer\" serve 4000 1 50 64"; }
serve
await service ready
peer client 1 use 198.51.100.2 4000 1 100
await client '0 link 0'
before=$(descriptors service)
goes_on() {
    ask client
    local answered=$client_answered events=$client_events
    until_counts 30 'client_answered > answered + 50 && client_events > events + 25' client
}
stranger held 3 hold 198.51.100.2 4000 30 0.2
await held 'held .*'
until_counts 30 '$(descriptors service) >= 40' client
goes_on
kill_peer held
until_counts 30 '$(descriptors service) == before' client
peer late 3 use 198.51.100.2 4000 1 100
! said late '0 up' 1 1 || fail "the worker that accepts has survived; the documents say that it ends"
goes_on
stood client
kill_peer service
serve
await service ready 2
listening=$when
await late '0 link 0'
figure "served after the restart of the service" $((when - listening)) ms
await client '0 link 0' 2
