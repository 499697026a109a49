#!/usr/bin/env bash
# What the README and docs/kinds.md show are the examples of the same name, word for word; the programs work together.
set -euo pipefail
root=$(cd "$(dirname "$0")/../.." && pwd)

shows() {  # document, examples: each in the block that follows its name
    local example shown
    for example in "${@:2}"; do
        shown=$(awk -v name="$example" '
            index($0, name) { near = 1 }
            near && /^```cpp$/ { copying = 1; next }
            copying && /^```$/ { exit }
            copying' "$root/$1")
        diff <(echo "$shown") "$root/$example"
    done
}
shows README.md examples/hello_{service,client}.cpp
shows docs/kinds.md examples/kinds/{call,signal,event,information,command,datagram}.cpp

if [[ ${1:-} != inside ]]; then
    exec "$LAB" run --hosts 2 -- bash "$0" inside
fi
# The service ends when its input does.
mkfifo "/run/key"
"$LAB" on 2 "$BIN/hello_service" <"/run/key" &
service=$!
exec 9>"/run/key"
# Again where the answer was there before the wait for it had begun.
for ((try = 1; try <= 3; ++try)); do
    said=$(timeout 20 "$BIN/hello_client")
    [[ $said == VORN_ERR_LOCAL_TIMEOUT_ ]] || break
done
echo "$said"
[[ $said == "hello, client, after "* ]]
exec 9>&-
wait "$service"
