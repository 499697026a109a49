# Plain sockets, nothing of the runtime.
#
#   say HOST PORT TEXT       sends a datagram
#   hear PORT                takes a UDP port for itself, says "ready", then each datagram that comes
use strict;
use warnings;
use IO::Socket::INET;

$| = 1;
my ($what, $where, $port, $text) = @ARGV;
if ($what eq 'say') {
    IO::Socket::INET->new(Proto => 'udp', Broadcast => 1, PeerAddr => $where, PeerPort => $port)->send($text);
} else {
    my $socket = IO::Socket::INET->new(Proto => 'udp', LocalAddr => '0.0.0.0', LocalPort => $where) or die "bind: $!";
    print "ready\n";
    print "$text\n" while defined recv $socket, $text, 1500, 0;
}
