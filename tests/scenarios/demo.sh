#!/usr/bin/env bash
# The demonstration prints its lines, and flushes each; and the typed bindings work in those of its functions that its
# `main` does not call. There a second takes a tenth of one (`peer demo`).
source "${LAB%/*}/vocabulary.bash" || exit
demo() { peer "$1" 1 demo "${@:2}"; }

# Without a service, with one, and after that has gone.
follower() {
    start demo 1 bash -c 'exec "$0" 2>/run/errors' "$BIN/vorn35_demo"
    # Nobody serves the port: the start succeeds, and that is all. (At least one more pass of its loop.)
    expect demo "proxy start err = VORN_ERR_NONE_"
    ! said demo '.*' 2 1 || fail "'$line' without a service"
    start feed 1 "$BIN/demo_feed" 60
    # The answer and the first values may overtake the line that tells of the question.
    await demo on_sync 5
    expect feed "start: VORN_ERR_NONE_"
    expect feed "link of .*, unreliable"
    kill_peer feed
    # The deferred stop keeps the address in use.
    await demo "proxy start err = VORN_ERR_ALREADY_USED_ADDR_"
    kill_peer demo
    diff <(grep -Evx 'on_sync|on_link' /run/demo | head -n 6) <(printf '%s\n' 'proxy start err = VORN_ERR_NONE_' \
        on_connect 'delegate_link = VORN_ERR_NONE_' on_unlink on_disconnect 'proxy start err = VORN_ERR_ALREADY_USED_ADDR_')
    (($(grep -cx on_link /run/demo) == 1)) || fail "it linked more than once"
    [[ ! -s /run/errors ]] || fail "$(</run/errors)"
    # The feed ends with its input, and when its time is over.
    start feed 1 "$BIN/demo_feed"
    await feed "start: VORN_ERR_NONE_" 2
    finish feed
    timeout 20 "$BIN/demo_feed" 1 >/dev/null
}

# Threads print here; what one and the same thread prints, and what follows from what, has an order.
calls_in_one_process() {
    "$BIN/peer" demo test1 >/run/said
    # Addresses, and times, are what they are; the name is asked for until it is heard.
    sed -Ei -e 's/\([0-9.]+:[0-9]+/(CLIENT/' -e 's/ [0-9]+\.[0-9]{6}\)$/ TIME)/' -e '/^get_address = 0$/d' /run/said
    diff <(grep -E '^(loop|stub on_example|proxy on_example)' /run/said) <(
        printf '%s\n' 'stub on_example_command_link(CLIENT)' 'proxy on_example_command_link(1, VORN_ERR_NONE_, TIME)'
        for i in 0 1 2; do
            printf '%s\n' loop "stub on_example_call(CLIENT, $i) = $((i * i))" \
                "proxy on_example_cal_return($((i + 2)), VORN_ERR_UNKNOWN_, TIME)"
        done
    ) || fail "in test1"
    diff <(grep -Ev '^(loop|stub on_example|proxy on_example)' /run/said | grep -v '^stub on_disconnect' | LC_ALL=C sort) <(
        printf '%s\n' 'get_address = 1' 'proxy example_command_delegate_link(1) = VORN_ERR_NONE_'
        printf 'proxy example_delegate_call err = VORN_ERR_NONE_, delegate_num=%d\n' 2 3 4
        printf '%s\n' 'proxy on_connect' 'stub on_connect(CLIENT)'
    ) || fail "in test1"
}

# A client that loses its service links again by itself when it is back; the typed unlink of the lost link is not told.
link_again() {
    local round
    demo client test2
    for round in 1 2; do
        demo service stub something 11010
        await service 'stub on_example_command_link\(.*\)' "$round"
        await client 'proxy on_example_command_link\([0-9]+, VORN_ERR_NONE_, .*\)' "$round"
        kill_peer service
        await client 'proxy on_disconnect' "$round"
    done
    await client 'proxy on_connect' 2
    ! grep unlink /run/client || fail "an unlink was told"
}

signals_to_another_process() {
    demo service stub stub 0
    demo client Test3
    await service 'stub on_example_signal\([0-9.]+:[0-9]+ , 3\)' 2
    kill_peer client
    await service 'stub on_disconnect\(.*\)'
    [[ ! -s /run/client ]] || fail "Test3 said: $(</run/client)"
}

service_that_comes_and_goes() {
    demo service test4
    await service wait 10
    await service 'stub_ start err = VORN_ERR_NONE_' 2
    demo client Test3
    await service on_connect
    kill_peer client
    await service on_disconnect
    kill_peer service
    diff <(head -n 21 /run/service | uniq -c | tr -s ' ') <(
        printf '%s\n' ' 1 stub_ start err = VORN_ERR_NONE_' ' 10 update' ' 10 wait')
}

[[ -z ${VORN35_LAB_HOSTS:-} ]] || { "$1"; exit; }

# `sample` is `example` with other names and without the delegate forms.
words() { tr -s '[:space:]' '\n'; }  # lines are broken elsewhere where a name is shorter
src=${LAB%/*}/../../src
for end in Proxy Stub; do
    diff <(sed -e '/\/\/ Delegate form$/,/\/\/ Delegate form ends$/d' \
        -e 's/on_example_cal_return/on_sample_return/; s/example/sample/g; s/Example_\(in\|out\)put/Sample_\1put/g' \
        "$src/Vorn35_${end}_example.h" | words) \
        <(words <"$src/Vorn35_${end}_sample.h") || fail "the sets of the $end differ"
done

# Each in a lab of its own, since they use the same names.
for each in follower calls_in_one_process link_again signals_to_another_process service_that_comes_and_goes; do
    "$LAB" run -- bash "$0" "$each" &
    pid_of[$each]=$!
done
for each in "${!pid_of[@]}"; do
    code=0
    wait "${pid_of[$each]}" || code=$?
    ((code == 0)) || { result=$code; echo "demo: $each ended with $code" >&2; }
done
exit "${result:-0}"
