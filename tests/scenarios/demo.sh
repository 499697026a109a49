#!/usr/bin/env bash
# The demonstration prints its lines, and flushes each: without a service, with one, and after that has gone.
set -euo pipefail

if [[ ${1:-} != inside ]]; then
    exec "$LAB" run -- bash "$0" inside
fi

fail() {
    echo "demo: $1" >&2
    exit 1
}

next() {  # the next line goes to $line
    read -r -t 15 -u "$demo" line || fail "nothing came where $1 was due"
}

expect() {
    next "'$1'"
    [[ $line == "$1" ]] || fail "'$line' came where '$1' was due"
}

errors=/run/errors
exec {demo}< <(exec "$BIN/vorn35_demo" 2>"$errors")
demo_pid=$!

# Nobody serves the port: the start succeeds, and that is all. (More than two passes of its loop.)
expect "proxy start err = VORN_ERR_NONE_"
! read -r -t 2.5 -u "$demo" line || fail "'$line' without a service"

exec {feed}< <(exec "$BIN/demo_feed" 60)
feed_pid=$!
expect "on_connect"
# The answer and the first values may overtake the line that tells of the question.
unset seen
declare -A seen
while [[ -z ${seen[delegate_link]:-} || -z ${seen[on_link]:-} || ${seen[on_sync]:-0} -lt 5 ]]; do
    next "a link with values"
    case $line in
        "delegate_link = VORN_ERR_NONE_") key=delegate_link ;;
        on_link | on_sync) key=$line ;;
        *) fail "'$line' while it links" ;;
    esac
    seen[$key]=$((${seen[$key]:-0} + 1))
done
((seen[delegate_link] == 1 && seen[on_link] == 1)) || fail "it linked more than once"
read -r -t 15 -u "$feed" line && [[ $line == "start: VORN_ERR_NONE_" ]] || fail "the feed says '$line'"
read -r -t 15 -u "$feed" line && [[ $line == "link of "*", unreliable" ]] || fail "the feed says '$line'"

# The deferred stop leaves the address in use for good.
kill -KILL "$feed_pid"
line=on_sync
while [[ $line == on_sync ]]; do next "on_unlink"; done
[[ $line == on_unlink ]] || fail "'$line' came where 'on_unlink' was due"
expect "on_disconnect"
expect "proxy start err = VORN_ERR_ALREADY_USED_ADDR_"
expect "proxy start err = VORN_ERR_ALREADY_USED_ADDR_"
expect "proxy start err = VORN_ERR_ALREADY_USED_ADDR_"

kill "$demo_pid"
[[ ! -s $errors ]] || fail "$(<"$errors")"

# The feed ends with its input, and when its time is over.
start=$SECONDS
"$BIN/demo_feed" </dev/null >/dev/null
"$BIN/demo_feed" 1 >/dev/null
((SECONDS - start < 30))
