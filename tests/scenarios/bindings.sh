#!/usr/bin/env bash
# The typed bindings at work in the functions of the demonstration that its `main` does not call.
set -euo pipefail

runner=$BIN/demo_functions

fail() {
    echo "bindings: $1" >&2
    exit 1
}

await() {  # file, pattern of a whole line, times it must be there (default 1)
    local try
    for ((try = 0; try < 600; ++try)); do
        (($(grep -cxE "$2" "$1" || true) < ${3:-1})) || return 0
        sleep 0.05
    done
    fail "no '$2' in: $(<"$1")"
}

# --- each in a lab of its own, since they use the same names --------------------------------------------
# Threads print here; what one and the same thread prints, and what follows from what, has an order.
calls_in_one_process() {
    local said=/run/said
    "$runner" test1 >"$said"
    # Addresses, and times, are what they are.
    sed -Ei -e 's/\([0-9.]+:[0-9]+/(CLIENT/' -e 's/ [0-9]+\.[0-9]{6}\)$/ TIME)/' "$said"
    in_order() {  # pattern of the lines that count, the lines
        diff <(grep -E "$1" "$said") - || fail "in test1"
    }
    sed -i '/^get_address = 0$/d' "$said"  # once a second, until the name is heard
    in_order '^(get_address|loop|proxy example_delegate)' <<'TEXT'
get_address = 1
loop
proxy example_delegate_call err = VORN_ERR_NONE_, delegate_num=2
loop
proxy example_delegate_call err = VORN_ERR_NONE_, delegate_num=3
loop
proxy example_delegate_call err = VORN_ERR_NONE_, delegate_num=4
TEXT
    in_order '^(get_address|proxy on_connect|proxy example_command|loop)' <<'TEXT'
get_address = 1
proxy on_connect
proxy example_command_delegate_link(1) = VORN_ERR_NONE_
loop
loop
loop
TEXT
    in_order '^(loop|stub on_example|proxy on_example)' <<'TEXT'
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
    in_order '^stub on_(connect|disconnect)' <<<'stub on_connect(CLIENT)'
    (($(wc -l <"$said") == 18)) || fail "test1 said more: $(<"$said")"
}

# A client that loses its service links again by itself when it is back; the typed unlink of the lost link is
# not told.
link_again() {
    local round client service
    "$runner" test2 >/run/client &
    client=$!
    for round in 1 2; do
        "$runner" stub something 11010 < <(exec sleep 60) >"/run/service$round" &
        service=$!
        await "/run/service$round" 'stub on_example_command_link\(.*\)'
        await /run/client 'proxy on_example_command_link\([0-9]+, VORN_ERR_NONE_, .*\)' "$round"
        kill "$service"
        wait "$service" 2>/dev/null || true
        await /run/client 'proxy on_disconnect' "$round"
    done
    await /run/client 'proxy on_connect' 2
    ! grep unlink /run/client || fail "an unlink was told"
    kill "$client"
}

signals_to_another_process() {
    local client service
    "$runner" stub stub 0 < <(exec sleep 60) >/run/service &
    service=$!
    "$runner" Test3 >/run/client &
    client=$!
    await /run/service 'stub on_example_signal\([0-9.]+:[0-9]+ , 3\)' 2
    kill "$client"
    await /run/service 'stub on_disconnect\(.*\)'
    kill "$service"
    [[ ! -s /run/client ]] || fail "Test3 said: $(</run/client)"
}

service_that_comes_and_goes() {
    local client service
    "$runner" test4 >/run/service &
    service=$!
    "$runner" Test3 >/run/client &
    client=$!
    await /run/service on_connect
    kill "$client"
    await /run/service on_disconnect
    await /run/service wait 2
    kill "$service"
    diff <(grep -v '^on_' /run/service | uniq -c) - <<'TEXT'
      1 stub_ start err = VORN_ERR_NONE_
     10 update
      2 wait
TEXT
}

all=(calls_in_one_process link_again signals_to_another_process service_that_comes_and_goes)

if [[ -n ${1:-} ]]; then
    "$1"
    exit
fi

# --- `sample` is `example` with other names and without the delegate forms ------------------------------
words() { tr -s '[:space:]' '\n'; }  # lines are broken elsewhere where a name is shorter
src=$(dirname "$0")/../../src
for end in Proxy Stub; do
    diff <(sed -e '/\/\/ Delegate form$/,/\/\/ Delegate form ends$/d' \
        -e 's/on_example_cal_return/on_sample_return/; s/example/sample/g; s/Example_\(in\|out\)put/Sample_\1put/g' \
        "$src/Vorn35_${end}_example.h" | words) \
        <(words <"$src/Vorn35_${end}_sample.h") || fail "the sets of the $end differ"
done

declare -A pids
for each in "${all[@]}"; do
    "$LAB" run -- bash "$0" "$each" &
    pids[$each]=$!
done
result=0
for each in "${all[@]}"; do
    code=0
    wait "${pids[$each]}" || code=$?
    ((code == 0)) || { result=$code; echo "bindings: $each ended with $code" >&2; }
done
exit "$result"
