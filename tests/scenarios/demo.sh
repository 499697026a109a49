#!/usr/bin/env bash
# The demonstration prints its lines, and flushes each: without a service, with one, and after that has gone.
source "${LAB%/*}/vocabulary.bash"
in_lab 1

start demo 1 bash -c 'exec "$0" 2>/run/errors' "$BIN/vorn35_demo"
# Nobody serves the port: the start succeeds, and that is all. (More than two passes of its loop.)
expect demo "proxy start err = VORN_ERR_NONE_"
! said demo '.*' 2 3 || fail "'$line' without a service"

start feed 1 "$BIN/demo_feed" 60
# The answer and the first values may overtake the line that tells of the question.
await demo on_sync 5
expect feed "start: VORN_ERR_NONE_"
expect feed "link of .*, unreliable"
kill_peer feed
# The deferred stop leaves the address in use for good.
await demo "proxy start err = VORN_ERR_ALREADY_USED_ADDR_" 3
kill_peer demo
diff <(grep -Evx 'on_sync|on_link' /run/demo | head -n 8) - <<'TEXT'
proxy start err = VORN_ERR_NONE_
on_connect
delegate_link = VORN_ERR_NONE_
on_unlink
on_disconnect
proxy start err = VORN_ERR_ALREADY_USED_ADDR_
proxy start err = VORN_ERR_ALREADY_USED_ADDR_
proxy start err = VORN_ERR_ALREADY_USED_ADDR_
TEXT
(($(grep -cx on_link /run/demo) == 1)) || fail "it linked more than once"
[[ ! -s /run/errors ]] || fail "$(</run/errors)"

# The feed ends with its input, and when its time is over.
start feed 1 "$BIN/demo_feed"
await feed "start: VORN_ERR_NONE_" 2
finish feed
start brief 1 "$BIN/demo_feed" 1
wait "${pid_of[brief]}"
