#!/usr/bin/env bash
# The lab keeps what its help promises: the other network tests rest on it.
source "${LAB%/*}/vocabulary.bash" || exit
raw=(perl "${LAB%/*}/raw_peer.pl")

# In host 1 of two.
if [[ -n ${VORN35_LAB_HOSTS:-} ]]; then
    for k in 1 2; do
        stranger "ear$k" "$k" hear 9845
        await "ear$k" ready
    done
    routes=$("$LAB" on 2 ip route)
    ! grep -q default <<<"$routes" || fail "there is a way out"
    "$LAB" on 2 "${raw[@]}" say 198.51.100.1 9845 direct
    "${raw[@]}" say 255.255.255.255 9845 all
    "$LAB" link 2 down
    [[ $("$LAB" on 2 ip link show eth0) == *NO-CARRIER* ]] || fail "host 2 does not see that its cable is out"
    "${raw[@]}" say 255.255.255.255 9845 lost
    "$LAB" link 2 up
    "${raw[@]}" say 255.255.255.255 9845 found
    await ear1 found
    await ear2 found
    diff /run/ear1 <(printf '%s\n' ready direct all lost found) || fail "host 1"  # the sender hears itself
    diff /run/ear2 <(printf '%s\n' ready all found) || fail "host 2"
    [[ $("$LAB" on 2 ip route) == "$routes" ]] || fail "host 2 has lost routes with its cable"
    "$LAB" on 2 bash -c '(($(</proc/sys/net/ipv4/tcp_max_tw_buckets) == 0))' || fail "closed ports stay taken"
    ! "$LAB" on 3 true 2>/dev/null || fail "a third host"
    exit
fi

ends_with() {  # exit code, command...
    local code=0
    "${@:2}" || code=$?
    ((code == $1)) || fail "${*:2} ended with $code"
}
"$LAB" run true || exit $?  # 77: no namespaces here
ends_with 0 "$LAB" run --hosts 2 -- bash "$0"
ends_with 42 "$LAB" run -- bash -c 'exit 42'

# Two labs at once with the same port each, and their names are not seen out here. Whichever way a lab ends, all its
# processes end: the last of them closes the pipe that is read here.
names=$(ls /run/netns 2>/dev/null || true)
declare -A labs
for signal in TERM KILL; do
    exec {lab}< <(exec "$LAB" run -- "${raw[@]}" hear 9845)
    labs[$signal]=$lab pid_of[$signal]=$!
    read -r -t 10 -u "$lab" line && [[ $line == ready ]] || fail "no second lab"
done
[[ $(ls /run/netns 2>/dev/null || true) == "$names" ]] || fail "the names of a lab are seen outside"
for signal in TERM KILL; do kill -$signal "${pid_of[$signal]}"; done
exec {lab}< <(exec "$LAB" run -- bash -c 'setsid sleep 60 & exit 0')
# 1 is the end of the pipe, more a timeout.
for lab in $lab "${labs[@]}"; do ends_with 1 read -r -t 10 -u "$lab"; done
