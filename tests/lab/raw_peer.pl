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
use Socket qw(:DEFAULT SOL_SOCKET SO_LINGER SO_RCVBUF IPPROTO_TCP TCP_NODELAY);

$| = 1;
alarm 300;
$SIG{PIPE} = 'IGNORE';
my ($what, $host, $port, $count, $seconds) = @ARGV;

sub connected {
    my $socket = IO::Socket::INET->new(PeerAddr => $host, PeerPort => $port, Timeout => $seconds // 10) or return;
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
        sysread $socket, $bytes, $size - length $bytes, length $bytes or return '';
    }
    return $bytes;
}

# What goes out up to each stage; above 4 the opening record of the service is read first.
my $stages = 9;
sub go {
    my ($socket, $stage) = @_;
    syswrite $socket, substr opening($socket), 0, (0, 1, 500, 1023, (1024) x 5)[$stage];
    return if $stage < 5;
    get($socket, 1024);
    my $call = message($socket, 48, 1, 'x' x 40);
    syswrite $socket, ('', substr($call, 0, 7), substr($call, 0, 30), message($socket, 72, 2, '') . $call)[$stage - 5];
}

my %words = (
    vanish => sub {
        my @now;
        for my $i (0 .. $count - 1) {
            push @now, my $socket = connected() // die "connect: $!";
            go($socket, $i % $stages);
            $socket->setsockopt(SOL_SOCKET, SO_LINGER, pack('ii', 1, 0)) if $i / $stages % 2;
            @now = () if @now == 10;
        }
    },
    hold => sub {
        my @held = grep { $_ } map { connected() // 0 } 1 .. $count;
        go($held[$_], $_ % 5) for 0 .. $#held;
        print "held ", scalar @held, "\n";
        1 while <STDIN>;
    },
    drip => sub {
        my $socket = connected() or die "connect: $!";
        my $drip = sub {
            for my $byte (split //, $_[0]) {
                syswrite $socket, $byte;
                select undef, undef, undef, $count;
            }
        };
        syswrite $socket, substr opening($socket), 0, 1000;
        $drip->(substr opening($socket), 1000);
        get($socket, 1024) or die 'no opening record';
        # A full pipe refuses a message without a word: it asks again after five heartbeats.
        for (my $beats = 5; ; ++$beats) {
            $drip->(message($socket, 48, 1, 'drip')) if $beats % 5 == 0;
            my $header = get($socket, 20) or die 'no answer';
            my ($type, $error, $size) = unpack 'xCx10VV', $header;
            my $payload = get($socket, $size);
            next unless $type;
            die "answer $type $error '$payload'" unless $type == 49 && $error == 0 && $payload eq 'drip';
            print "answered\n";
            exit;
        }
    },
    say => sub {
        IO::Socket::INET->new(Proto => 'udp', Broadcast => 1, PeerAddr => $host, PeerPort => $port)->send($count);
    },
    hear => sub {
        my $socket = IO::Socket::INET->new(Proto => 'udp', LocalAddr => '0.0.0.0', LocalPort => $host) or die "bind: $!";
        print "ready\n";
        print "$_\n" while defined recv $socket, $_, 1500, 0;
    },
    watch => sub {
        # AF_PACKET, SOCK_DGRAM, of all protocols: no other socket sees what leaves. SIOCGIFINDEX tells the number.
        my $request = pack 'a16x24', $host;
        socket my $socket, 17, 2, unpack('S', pack 'n', 3) or die "socket: $!";
        ioctl $socket, 0x8933, $request or die "ioctl: $!";
        setsockopt $socket, SOL_SOCKET, SO_RCVBUF, 1 << 20;
        bind $socket, pack('Snix12', 17, 3, unpack 'x16i', $request) or die "bind: $!";
        print "ready\n";
        my $inputs = IO::Select->new($socket, \*STDIN);
        while (grep { $_ == $socket } $inputs->can_read) {
            my ($protocol, $direction) = unpack 'x2nx6C', recv $socket, my $bytes, 65536, 0;
            my ($first, $transport, $to) = unpack 'Cx8Cx6a4', $bytes;
            next unless $protocol == 0x0800 && $transport == 17;
            my ($to_port, $size) = unpack 'x2nn', substr $bytes, ($first & 15) * 4;
            print $direction == 4 ? 'out' : 'in', ' ', inet_ntoa($to), ' ', $size - 8, "\n" if $to_port == $port;
        }
    });
($words{$what} // die "what is '$what'?")->();
