#!/usr/bin/env bash
# The programs shown in the README are the examples of the same name, word for word, and work together.
set -euo pipefail
root=$(cd "$(dirname "$0")/../.." && pwd)

for name in hello_service hello_client; do
    shown=$(awk -v name="examples/$name.cpp" '
        index($0, name) { near = 1 }
        near && /^```cpp$/ { copying = 1; next }
        copying && /^```$/ { exit }
        copying' "$root/README.md")
    diff <(echo "$shown") "$root/examples/$name.cpp"
done

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
