# Plain sockets and literal bytes, nothing of the runtime. `hold` and `watch` end with their input.
#
#   vanish HOST PORT COUNT   connections that end at every stage of the opening exchange and of a message, half of
#                            them by reset, ten at a time
#   hold HOST PORT COUNT SECONDS   connections that stop at every stage of the opening exchange, and stay; says "held"
#                            and how many came about, each within so many seconds
#   drip HOST PORT SECONDS   one that sends the end of its opening record and a call byte by byte, so many seconds
#                            between them; says "answered" when the answer has come
#   say HOST PORT TEXT       sends a datagram
#   hear PORT                takes a UDP port for itself, says "ready", then each datagram that comes
#   watch INTERFACE PORT     says "ready", then each datagram to that port that leaves by the interface or comes in by
#                            it: "out 232.1.2.3 SIZE", its bytes behind the UDP header
use strict;
use warnings;
use IO::Select;
use IO::Socket::INET;
use Socket qw(SOL_SOCKET SO_LINGER IPPROTO_TCP TCP_NODELAY inet_ntoa);

$| = 1;
alarm 300;
$SIG{PIPE} = 'IGNORE';

my ($what, @arguments) = @ARGV;

sub connected {
    my ($host, $port, $timeout) = @_;
    my $socket = IO::Socket::INET->new(PeerAddr => $host, PeerPort => $port, Timeout => $timeout // 10) or return;
    $socket->setsockopt(IPPROTO_TCP, TCP_NODELAY, 1);
    return $socket;
}

sub opening {
    my ($socket) = @_;
    return pack('a1020vv', 'Handshake@ 2020 Kestrane Corperation!!!!', $socket->sockport, $socket->peerport);
}

# Type 48 is a call, 72 asks for a link to an event.
sub message {
    my ($socket, $type, $code, $payload) = @_;
    return pack('CCvvvvvVV', 2, $type, $socket->sockport, 0xFFFF, 0, $code, 1, 0, length $payload) . $payload;
}

sub get {
    my ($socket, $size) = @_;
    my $bytes = '';
    while (length $bytes < $size) {
        return '' unless sysread $socket, $bytes, $size - length $bytes, length $bytes;
    }
    return $bytes;
}

# What goes out up to each stage; with a stage above 4 the opening record of the service is read first.
my $last_stage = 8;
sub go {
    my ($socket, $stage) = @_;
    my $opening = opening($socket);
    my @sizes = (0, 1, 500, 1023, 1024);
    syswrite $socket, substr($opening, 0, $sizes[$stage > 4 ? 4 : $stage]);
    return if $stage < 5;
    get($socket, 1024);
    my $call = message($socket, 48, 1, 'x' x 40);
    syswrite $socket, substr($call, 0, 7) if $stage == 6;
    syswrite $socket, substr($call, 0, 30) if $stage == 7;
    syswrite $socket, message($socket, 72, 2, '') . $call if $stage == 8;
}

if ($what eq 'vanish') {
    my ($host, $port, $count) = @arguments;
    for (my $i = 0; $i < $count;) {
        my @now;
        for (; @now < 10 && $i < $count; ++$i) {
            my $socket = connected($host, $port) or die "connect: $!";
            go($socket, $i % ($last_stage + 1));
            $socket->setsockopt(SOL_SOCKET, SO_LINGER, pack('ii', 1, 0)) if $i / ($last_stage + 1) % 2;
            push @now, $socket;
        }
        close $_ for @now;
    }
} elsif ($what eq 'hold') {
    my ($host, $port, $count, $seconds) = @arguments;
    my @held = grep { $_ } map { connected($host, $port, $seconds) // 0 } 1 .. $count;
    go($held[$_], $_ % 5) for 0 .. $#held;
    print "held ", scalar @held, "\n";
    1 while <STDIN>;
} elsif ($what eq 'drip') {
    my ($host, $port, $seconds) = @arguments;
    my $socket = connected($host, $port) or die "connect: $!";
    my $drip = sub {
        for my $byte (split //, $_[0]) {
            syswrite $socket, $byte;
            select undef, undef, undef, $seconds;
        }
    };
    my $opening = opening($socket);
    syswrite $socket, substr $opening, 0, 1000;
    $drip->(substr $opening, 1000);
    get($socket, 1024) or die 'no opening record';
    # A full pipe refuses a message, and says nothing: so it asks again, as often as it takes.
    my $answers = IO::Select->new($socket);
    my $asked = 0;
    for (;;) {
        if (time >= $asked + 5) {
            $drip->(message($socket, 48, 1, 'drip'));
            $asked = time;
        }
        next unless $answers->can_read(1);
        my $header = get($socket, 20) or die 'no answer';
        my (undef, $type, undef, undef, undef, undef, undef, $error, $size) = unpack 'CCvvvvvVV', $header;
        my $payload = $size ? get($socket, $size) : '';
        next unless $type;  # a heartbeat
        die "answer $type $error '$payload'" unless $type == 49 && $error == 0 && $payload eq 'drip';
        print "answered\n";
        exit;
    }
} elsif ($what eq 'say') {
    my ($host, $port, $text) = @arguments;
    IO::Socket::INET->new(Proto => 'udp', Broadcast => 1, PeerAddr => $host, PeerPort => $port)->send($text) or die $!;
} elsif ($what eq 'hear') {
    my @any = (Proto => 'udp', LocalAddr => '0.0.0.0');
    my $socket = IO::Socket::INET->new(@any, LocalPort => $arguments[0]) or die "bind: $!";
    print "ready\n";
    my $bytes;
    print "$bytes\n" while defined recv $socket, $bytes, 1500, 0;
} elsif ($what eq 'watch') {
    my ($interface, $port) = @arguments;
    # AF_PACKET, SOCK_DGRAM, of all protocols: what leaves is shown to no other socket. SIOCGIFINDEX tells its number.
    my $request = pack 'a16x24', $interface;
    socket my $socket, 17, 2, unpack('S', pack 'n', 3) or die "socket: $!";
    ioctl $socket, 0x8933, $request or die "ioctl: $!";
    # UDP alone (load byte 9, take all or nothing): a watcher that is not scheduled for a while must not lose that in
    # favour of the rest. SO_ATTACH_FILTER.
    my $filter = pack 'SCCL' x 4, 0x30, 0, 0, 9, 0x15, 0, 1, 17, 0x06, 0, 0, 0xFFFF, 0x06, 0, 0, 0;
    setsockopt $socket, SOL_SOCKET, 26, pack 'Sx6P', 4, $filter or die "filter: $!";
    bind $socket, pack('Snix12', 17, 3, unpack 'x16i', $request) or die "bind: $!";
    print "ready\n";
    my $inputs = IO::Select->new($socket, \*STDIN);
    while (my @ready = $inputs->can_read) {
        last unless grep { $_ == $socket } @ready;  # only the input is left, and that has ended
        my ($protocol, $direction) = unpack 'x2nx6C', recv $socket, my $bytes, 65536, 0;
        my ($first, $transport, $to) = unpack 'Cx8Cx6a4', $bytes;
        next unless $protocol == 0x0800 && $transport == 17;
        my ($to_port, $size) = unpack 'x2nn', substr $bytes, ($first & 15) * 4;
        print $direction == 4 ? 'out' : 'in', ' ', inet_ntoa($to), ' ', $size - 8, "\n" if $to_port == $port;
    }
} else {
    die "what is '$what'?";
}
