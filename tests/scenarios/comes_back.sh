#!/usr/bin/env bash
# A service is found by its name, killed, started again, and cut off for a while: its client follows.
set -euo pipefail

if [[ ${1:-} != inside ]]; then
    exec "$LAB" run --hosts 2 -- bash "$0" inside
fi

expect() {  # the client says this next
    local line
    read -r -t 30 -u 8 line || { echo "nothing was said where '$1' was due" >&2; exit 1; }
    echo "client: $line"
    [[ $line == "$1" ]] || { echo "'$1' was due" >&2; exit 1; }
}

mkfifo /run/key /run/said /run/client_key
"$LAB" on 2 bash -c 'echo $$ >/run/pid; exec "$0" phoenix 4000' "$BIN/call_service" </run/key &
exec 9>/run/key
"$BIN/call_client" phoenix </run/client_key >/run/said 9>&- &
client=$!
exec 7>/run/client_key 8</run/said

expect found
expect up
expect answered

kill -KILL "$(</run/pid)"
expect down
"$LAB" on 2 "$BIN/call_service" phoenix 4000 </run/key 7>&- 8<&- 9>&- &
service=$!
expect up

# No end of the stream comes through a cable that is out: the calls fall silent, and the connection stands.
"$LAB" link 2 down
expect silent
"$LAB" link 2 up
expect answered

exec 7>&-
wait "$client"
exec 9>&-
wait "$service"
