#!/usr/bin/env bash
# What the README and docs/kinds.md show are the examples of the same name, word for word; the programs work together.
source "${LAB%/*}/vocabulary.bash"
root=${LAB%/*}/../..

shows() {  # document, examples: each in the block that follows its name
    local example
    for example in "${@:2}"; do
        awk -v name="$example" '
            index($0, name) { near = 1 }
            near && /^```cpp$/ { copying = 1; next }
            copying && /^```$/ { exit }
            copying' "$root/$1" | diff - "$root/$example"
    done
}
shows README.md examples/hello_{service,client}.cpp
shows docs/kinds.md examples/kinds/{call,signal,event,information,command,datagram}.cpp

in_lab 2
start service 2 "$BIN/hello_service"
# Again where the answer was there before the wait for it had begun.
for ((try = 1; try <= 3; ++try)); do
    said=$(timeout 20 "$BIN/hello_client")
    [[ $said == VORN_ERR_LOCAL_TIMEOUT_ ]] || break
done
[[ $said == "hello, client, after "* ]] || fail "$said"
finish service
