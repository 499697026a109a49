#!/usr/bin/env bash
# The demonstration prints its lines, and flushes each; and the typed bindings work in those of its functions that its
# `main` does not call. There a second takes a tenth of one (`peer demo`).
source "${LAB%/*}/vocabulary.bash" || exit
demo() { peer "$1" 1 demo "${@:2}"; }

# Without a service, with one, and after that has gone.
follower() {
    start demo 1 "$BIN/vorn35_demo"
    # Nobody serves the port: the start succeeds, and that is all. (At least one more pass of its loop.)
    await demo "proxy start err = VORN_ERR_NONE_"
    sleep 1.2
    start feed 1 "$BIN/demo_feed"
    # The answer and the first values may overtake the line that tells of the question.
    await demo on_sync 5
    await feed "link of .*, unreliable"
    finish feed
    # The deferred stop keeps the address in use.
    await demo "proxy start err = VORN_ERR_ALREADY_USED_ADDR_"
    kill_peer demo
    diff <(grep -vx on_sync /run/demo | head -n 7 | LC_ALL=C sort) <(
        printf '%s\n' 'delegate_link = VORN_ERR_NONE_' on_{connect,disconnect,link,unlink} \
            'proxy start err = VORN_ERR_'{ALREADY_USED_ADDR_,NONE_}) || fail "the demonstration"
}

# Threads print here, in no order. Addresses, and times, are what they are; the name is asked for until it is heard.
calls_in_one_process() {
    "$BIN/peer" demo test1 | sed -E 's/\([0-9.]+:[0-9]+/(CLIENT/; s/ [0-9]+\.[0-9]{6}\)$/ TIME)/
        /^get_address = 0$|^stub on_disconnect/d' | LC_ALL=C sort | diff - <(printf '%s\n' 'get_address = 1' loop{,,} \
        'proxy example_command_delegate_link(1) = VORN_ERR_NONE_' \
        'proxy example_delegate_call err = VORN_ERR_NONE_, delegate_num='{2,3,4} 'proxy on_connect' \
        'proxy on_example_cal_return('{2,3,4}', VORN_ERR_UNKNOWN_, TIME)' \
        'proxy on_example_command_link(1, VORN_ERR_NONE_, TIME)' 'stub on_connect(CLIENT)' \
        'stub on_example_call(CLIENT, '{'0) = 0','1) = 1','2) = 4'} 'stub on_example_command_link(CLIENT)') || fail "test1"
}

# A client that loses its service links again by itself when it is back; the typed unlink of the lost link is not told.
link_again() {
    demo client test2
    for round in 1 2; do
        demo service stub something 11010
        await service 'stub on_example_command_link\(.*\)' "$round"
        await client 'proxy on_example_command_link\([0-9]+, VORN_ERR_NONE_, .*\)' "$round"
        kill_peer service
        await client 'proxy on_disconnect' "$round"
    done
    ! grep unlink /run/client || fail "an unlink was told"
}

# A service that comes and goes, and signals to another one.
services() {
    demo service test4
    await service 'stub_ start err = VORN_ERR_NONE_' 2
    kill_peer service
    diff <(head -n 21 /run/service | uniq -c | tr -s ' ') <(
        printf ' %s\n' '1 stub_ start err = VORN_ERR_NONE_' '10 update' '10 wait') || fail "test4"
    demo stub stub stub 0
    demo client Test3
    await stub 'stub on_example_signal\([0-9.]+:[0-9]+ , 3\)' 2
    [[ ! -s /run/client ]] || fail "Test3 said: $(</run/client)"
}

[[ -z ${VORN35_LAB_HOSTS:-} ]] || { "$1"; exit; }
# Each in a lab of its own, since they use the same names.
for each in follower calls_in_one_process link_again services; do
    "$LAB" run -- bash "$0" "$each" &
    pid_of[$each]=$!
done
for each in "${!pid_of[@]}"; do wait "${pid_of[$each]}" || result=$?; done
exit "${result:-0}"
