#!/usr/bin/env bash
# The typed bindings at work in the functions of the demonstration that its `main` does not call.
source "${LAB%/*}/vocabulary.bash"
run() { start "$1" 1 "$BIN/demo_functions" "${@:2}"; }

# Threads print here; what one and the same thread prints, and what follows from what, has an order.
calls_in_one_process() {
    "$BIN/demo_functions" test1 >/run/said
    # Addresses, and times, are what they are; the name is asked for once a second until it is heard.
    sed -Ei -e 's/\([0-9.]+:[0-9]+/(CLIENT/' -e 's/ [0-9]+\.[0-9]{6}\)$/ TIME)/' -e '/^get_address = 0$/d' /run/said
    diff <(grep -E '^(loop|stub on_example|proxy on_example)' /run/said) - <<'TEXT' || fail "in test1"
stub on_example_command_link(CLIENT)
proxy on_example_command_link(1, VORN_ERR_NONE_, TIME)
loop
stub on_example_call(CLIENT, 0) = 0
proxy on_example_cal_return(2, VORN_ERR_UNKNOWN_, TIME)
loop
stub on_example_call(CLIENT, 1) = 1
proxy on_example_cal_return(3, VORN_ERR_UNKNOWN_, TIME)
loop
stub on_example_call(CLIENT, 2) = 4
proxy on_example_cal_return(4, VORN_ERR_UNKNOWN_, TIME)
TEXT
    diff <(grep -Ev '^(loop|stub on_|proxy on_example)' /run/said) - <<'TEXT' || fail "in test1"
get_address = 1
proxy on_connect
proxy example_command_delegate_link(1) = VORN_ERR_NONE_
proxy example_delegate_call err = VORN_ERR_NONE_, delegate_num=2
proxy example_delegate_call err = VORN_ERR_NONE_, delegate_num=3
proxy example_delegate_call err = VORN_ERR_NONE_, delegate_num=4
TEXT
    [[ $(grep -E '^stub on_(connect|disconnect)' /run/said) == 'stub on_connect(CLIENT)' ]] || fail "in test1"
    (($(wc -l </run/said) == 18)) || fail "test1 said more: $(</run/said)"
}

# A client that loses its service links again by itself when it is back; the typed unlink of the lost link is not told.
link_again() {
    local round
    run client test2
    for round in 1 2; do
        run service stub something 11010
        await service 'stub on_example_command_link\(.*\)' "$round"
        await client 'proxy on_example_command_link\([0-9]+, VORN_ERR_NONE_, .*\)' "$round"
        kill_peer service
        await client 'proxy on_disconnect' "$round"
    done
    await client 'proxy on_connect' 2
    ! grep unlink /run/client || fail "an unlink was told"
}

signals_to_another_process() {
    run service stub stub 0
    run client Test3
    await service 'stub on_example_signal\([0-9.]+:[0-9]+ , 3\)' 2
    kill_peer client
    await service 'stub on_disconnect\(.*\)'
    [[ ! -s /run/client ]] || fail "Test3 said: $(</run/client)"
}

service_that_comes_and_goes() {
    run service test4
    run client Test3
    await service on_connect
    kill_peer client
    await service on_disconnect
    await service wait 2
    kill_peer service
    diff <(grep -v '^on_' /run/service | uniq -c) - <<'TEXT'
      1 stub_ start err = VORN_ERR_NONE_
     10 update
      2 wait
TEXT
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
for each in calls_in_one_process link_again signals_to_another_process service_that_comes_and_goes; do
    "$LAB" run -- bash "$0" "$each" &
    pid_of[$each]=$!
done
for each in "${!pid_of[@]}"; do
    code=0
    wait "${pid_of[$each]}" || code=$?
    ((code == 0)) || { result=$code; echo "bindings: $each ended with $code" >&2; }
done
exit "${result:-0}"
