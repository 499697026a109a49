#!/usr/bin/env bash
# The lab keeps what its help promises: the other network tests rest on it.
source "${LAB%/*}/vocabulary.bash"
raw_peer=${LAB%/*}/raw_peer.pl
say() { perl "$raw_peer" say "$@"; }

# In host 1 of two.
if [[ -n ${VORN35_LAB_HOSTS:-} ]]; then
    stranger ear1 1 hear 9845
    stranger ear2 2 hear 9845
    expect ear1 ready
    expect ear2 ready

    "$LAB" on 2 perl "$raw_peer" say 198.51.100.1 9845 direct
    expect ear1 direct
    say 255.255.255.255 9845 all
    expect ear1 all  # the sender hears itself
    expect ear2 all

    routes=$("$LAB" on 2 ip route)
    "$LAB" link 2 down
    [[ $("$LAB" on 2 ip link show eth0) == *NO-CARRIER* ]] || fail "host 2 does not see that its cable is out"
    say 255.255.255.255 9845 lost
    "$LAB" link 2 up
    say 255.255.255.255 9845 found
    expect ear1 lost
    expect ear1 found
    expect ear2 found  # and not "lost", which went before it
    [[ $("$LAB" on 2 ip route) == "$routes" ]] || fail "host 2 has lost routes with its cable"

    "$LAB" on 2 bash -c '(($(</proc/sys/net/ipv4/tcp_max_tw_buckets) == 0))' || fail "closed ports stay taken"
    ! "$LAB" on 3 true 2>/dev/null || fail "a third host"
    exit
fi

code=0
"$LAB" run true || code=$?
((code != 77)) || exit 77
"$LAB" run --hosts 2 -- bash "$0" || fail "two hosts"
code=0
"$LAB" run -- bash -c 'exit 42' || code=$?
((code == 42)) || fail "the exit code 42 became $code"

# Two labs at once with the same port each, and their names are not seen out here.
ready() {  # descriptor
    local line
    read -r -t 10 -u "$1" line && [[ $line == ready ]] || fail "no second lab"
}
names_before=$(ls /run/netns 2>/dev/null || true)
exec {first}< <(exec "$LAB" run -- perl "$raw_peer" hear 9845)
first_pid=$!
exec {second}< <(exec "$LAB" run -- perl "$raw_peer" hear 9845)
second_pid=$!
ready "$first"
ready "$second"
[[ $(ls /run/netns 2>/dev/null || true) == "$names_before" ]] || fail "the names of a lab are seen outside"

# Whichever way a lab ends, all its processes end: the last of them closes the pipe that is read here.
ended() {  # descriptor
    local line code=0
    read -r -t 10 -u "$1" line || code=$?
    ((code == 1)) || fail "processes of a lab outlive it"  # 1 is the end of file, more a timeout
}
kill -TERM "$first_pid"
ended "$first"
kill -KILL "$second_pid"
ended "$second"
exec {third}< <(exec "$LAB" run -- bash -c 'setsid sleep 60 & exit 0')
ended "$third"
