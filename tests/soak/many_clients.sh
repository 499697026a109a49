#!/usr/bin/env bash
# 1,000 clients (CLIENTS) connected to one process, which are idle for a minute (IDLE seconds) and then call.
source "${LAB%/*}/vocabulary.bash"
ulimit -n "$(ulimit -Hn)"
in_lab 1

# Attempts that the listener's short queue drops are made again by the kernel after seconds: a service of so many
# clients has a longer one.
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
timeout 600 "$BIN/many_clients" "${CLIENTS:-1000}" "${IDLE:-60}"
