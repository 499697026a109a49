# Plain sockets and literal bytes, nothing of the runtime. What listens ends with its lab.
#
#   say HOST PORT TEXT       sends a datagram
#   hear PORT                takes a UDP port for itself, says "ready", then each datagram that comes
#   watch INTERFACE PORT     says "ready", then each datagram to that port that leaves by the interface or comes in by
#                            it: "out 232.1.2.3 SIZE", its bytes behind the UDP header
use strict;
use warnings;
use IO::Socket::INET;

$| = 1;
alarm 300;
my ($what, $host, $port, $text) = @ARGV;

sub each_of {
    my ($socket, $tell) = @_;
    print "ready\n";
    while (defined(my $from = recv $socket, my $bytes, 65536, 0)) { $tell->($from, $bytes) }
}

if ($what eq 'say') {
    IO::Socket::INET->new(Proto => 'udp', Broadcast => 1, PeerAddr => $host, PeerPort => $port)->send($text);
} elsif ($what eq 'hear') {
    my $socket = IO::Socket::INET->new(Proto => 'udp', LocalAddr => '0.0.0.0', LocalPort => $host) or die "bind: $!";
    each_of($socket, sub { print "$_[1]\n" });
} else {
    # AF_PACKET, SOCK_DGRAM, of all protocols: no other socket sees what leaves. SIOCGIFINDEX tells the number.
    my $request = pack 'a16x24', $host;
    socket my $socket, 17, 2, unpack('S', pack 'n', 3) or die "socket: $!";
    ioctl $socket, 0x8933, $request or die "ioctl: $!";
    setsockopt $socket, SOL_SOCKET, SO_RCVBUF, 1 << 20;
    bind $socket, pack('Snix12', 17, 3, unpack 'x16i', $request) or die "bind: $!";
    each_of($socket, sub {
        my ($protocol, $direction) = unpack 'x2nx6C', $_[0];
        my ($first, $transport, $to) = unpack 'Cx8Cx6a4', $_[1];
        return unless $protocol == 0x0800 && $transport == 17;
        my ($to_port, $size) = unpack 'x2nn', substr $_[1], ($first & 15) * 4;
        print $direction == 4 ? 'out' : 'in', ' ', inet_ntoa($to), ' ', $size - 8, "\n" if $to_port == $port;
    });
}
