#!/usr/bin/env bash
# The lab keeps what its help promises: the other network tests rest on it.
set -euo pipefail

LAB=${LAB:-$(dirname "$0")/../lab/lab}

fail() {
    echo "lab_selftest: $1" >&2
    exit 1
}

# Prints "ready" once UDP port 9845 is bound, then each datagram that comes. (perl is in every Debian.)
hear='use IO::Socket::INET; $| = 1; alarm 30;
      my $s = IO::Socket::INET->new(Proto => "udp", LocalAddr => "0.0.0.0", LocalPort => 9845) or die "bind: $!";
      print "ready\n";
      while (defined $s->recv(my $text, 1500)) { print "$text\n"; }'
say='use IO::Socket::INET;
     my $s = IO::Socket::INET->new(Proto => "udp", Broadcast => 1, PeerAddr => $ARGV[0], PeerPort => 9845)
         or die "socket: $!";
     defined $s->send($ARGV[1]) or die "send: $!";'

expect() {  # descriptor, line: the next line that arrives there
    local line
    read -r -t 10 -u "$1" line || fail "nothing arrived where '$2' was due"
    [[ $line == "$2" ]] || fail "'$line' arrived where '$2' was due"
}

# Runs in host 1 of two.
two_hosts() {
    exec {ear1}< <(exec perl -e "$hear") {ear2}< <(exec "$LAB" on 2 perl -e "$hear")
    expect "$ear1" ready
    expect "$ear2" ready

    "$LAB" on 2 perl -e "$say" 198.51.100.1 direct
    expect "$ear1" direct
    perl -e "$say" 255.255.255.255 all
    expect "$ear1" all  # the sender hears itself
    expect "$ear2" all

    local routes
    routes=$("$LAB" on 2 ip route)
    "$LAB" link 2 down
    [[ $("$LAB" on 2 ip link show eth0) == *NO-CARRIER* ]] || fail "host 2 does not see that its cable is out"
    perl -e "$say" 255.255.255.255 lost
    "$LAB" link 2 up
    perl -e "$say" 255.255.255.255 found
    expect "$ear1" lost
    expect "$ear1" found
    expect "$ear2" found  # and not "lost", which went before it
    [[ $("$LAB" on 2 ip route) == "$routes" ]] || fail "host 2 has lost routes with its cable"

    "$LAB" on 2 bash -c '(($(</proc/sys/net/ipv4/tcp_max_tw_buckets) == 0))' || fail "closed ports stay taken"
    ! "$LAB" on 3 true 2>/dev/null || fail "a third host"
}

if [[ ${1:-} == two_hosts ]]; then
    two_hosts
    exit
fi

code=0
"$LAB" run true || code=$?
((code != 77)) || exit 77

"$LAB" run --hosts 2 -- bash "$0" two_hosts || fail "two hosts"

code=0
"$LAB" run -- bash -c 'exit 42' || code=$?
((code == 42)) || fail "the exit code 42 became $code"

# Two labs at once with the same port each, and their names are not seen out here.
names_before=$(ls /run/netns 2>/dev/null || true)
exec {first}< <(exec "$LAB" run -- perl -e "$hear")
first_pid=$!
exec {second}< <(exec "$LAB" run -- perl -e "$hear")
second_pid=$!
expect "$first" ready
expect "$second" ready
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
