#!/usr/bin/env bash
# Many clients in one process, of one service in another: all connect, although full pipes refuse notices of those that
# start at once, and all are answered.
source "${LAB%/*}/vocabulary.bash" || exit
clients=$(length 50 1000) idle=$(length 0 60)
ulimit -n "$(ulimit -Hn)"
in_lab 1

# The listener's queue is as long as the rush: the kernel makes an attempt that it drops again only after seconds.
mkdir -p /run/place/Config /run/place/work
cat >/run/place/Config/vorn.ini <<'TEXT'
[VORN]
AUTO_DISCONNECT=yes
SERVER_SOCKET_REUSE=yes
SERVER_LISTEN_BACKLOG=1024
SERVER_LINGER_USE=yes
SERVER_LINGER_TIME=1024
SERVER_NAGLE_OFF_USE=yes
CLIENT_LINGER_USE=yes
CLIENT_LINGER_TIME=1024
CLIENT_NAGLE_OFF_USE=yes
TEXT
cd /run/place/work
peer service 1 serve 4000 1 0 0
await service ready
ask service
memory=$(resident service) begin=$(count service time)
peer clients 1 use 127.0.0.1 4000 "$clients" 0 2
until_counts clients 120 eval '(($(count clients up) == clients))'
figure "all connected after" $(($(count clients time) - begin)) ms
figure "starts of clients that were not told of their connection within 2 s" "$(grep -c anew /run/clients || true)" ""
figure "connections that the service was told of" "$(ask service && count service up)" ""
figure "the service's memory per connection" $((($(resident service) - memory) / clients)) bytes
figure "the service's descriptors" "$(descriptors service)" ""

ticks() { awk '{ print $14 + $15 }' "/proc/${pid_of[service]}/stat"; }
before=$(ticks)
sleep "$idle"
figure "the service's processor time in $idle s with all of them idle" $((($(ticks) - before) * 10)) ms

RATE=500 ask clients
until_counts clients 60 eval '(($(count clients served) == clients))'
figure "calls until each client had an answer, and answers" "$(count clients asked), $(count clients answered)" ""
finish clients service
