#!/usr/bin/env bash
# Many clients in one process, of one service in another: all connect, although full pipes refuse notices of those that
# start at once, and all are answered.
source "${LAB%/*}/vocabulary.bash" || exit
clients=$(length 50 1000)
ulimit -n "$(ulimit -Hn)"
in_lab 1

# The listener's queue is as long as the rush: the kernel makes an attempt that it drops again only after seconds.
mkdir -p /run/place/Config /run/place/work
printf '%s\n' '[VORN]' AUTO_DISCONNECT=yes SERVER_SOCKET_REUSE=yes SERVER_LISTEN_BACKLOG=1024 \
    {SERVER,CLIENT}_{LINGER_USE=yes,LINGER_TIME=1024,NAGLE_OFF_USE=yes} >/run/place/Config/vorn.ini
cd /run/place/work
peer service 1 serve 4000 1 0 0
await service ready
ask service
memory=$(resident service) begin=$service_time
peer clients 1 use 127.0.0.1 4000 "$clients" 0 2
until_counts 120 'clients_up == clients' clients
figure "all connected after" $((clients_time - begin)) ms
figure "starts of clients that were not told of their connection within 2 s" "$(grep -c anew /run/clients || true)" ""
figure "the service's memory per connection" $((($(resident service) - memory) / clients)) bytes
RATE=500 ask clients
until_counts 60 'clients_served == clients' clients
figure "calls until each client had an answer, and answers" "$clients_asked, $clients_answered" ""
finish clients service
