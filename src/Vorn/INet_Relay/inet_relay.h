/// @file
/// The network relay as the rest of the runtime sees it: moves `Token`s between processes over TCP and UDP
/// with five worker threads.
///
/// Callers never write to a socket: a `send_` operation queues the token and wakes a worker. The relay owns the token after
/// a `send_` operation returned 0; on any other result the caller still owns it.
#pragma once

#include "Vorn/Memory/vorn_memory.h"
#include "Vorn/wakeup_coalescing.h"

namespace Vorn35 {

/// Passes a received token to the processor, which owns it on 0; on any other result the relay frees it. Runs on the workers
/// and on the timer thread. For a `ctrl` message it must not call `send_tcp_server`: the relay holds a table's lock when it
/// reports that a client's connection was lost. Answers arrive without one.
using send_sdk_t = int(Token, Packet*);

/// First relay call. Reads the configuration, makes the heartbeat and the five epoll instances.
/// @throws boost::property_tree::ptree_error for a configuration file that is partial.
int initialize_inet(send_sdk_t* _send_sdk__);
/// Starts the five workers.
int start_inet();
/// Stops and joins the workers. Afterwards nothing enters the processor.
void stop_inet();
/// Releases everything. No other thread may use the relay.
void finalize_inet();

/// Opens the TCP listener and the UDP socket of a `Stub`. For port 0 the kernel chooses, and the choice is written back.
/// @throws int the `errno` of a failure, for instance `EADDRINUSE`; -1 when no worker can serve the sockets.
int add_server(Port* _port_);
/// Closes them. Established connections stay up.
void del_server(Port _port);

/// Starts a connection, which reconnects until `del_client`. Returns 0 even if the service does not listen yet.
int add_client(Addr _stub_addr);
/// Sends the queued messages and then closes.
void del_client(Addr _stub_addr);

/// To a client that is connected here. -1: no such connection.
int send_tcp_server(Addr _proxy_addr, Token _token, Packet* _pkt_);
/// The same for a message that must not be dropped, whatever its type.
int send_tcp_server_kept(Addr _proxy_addr, Token _token, Packet* _pkt_);
/// To a server that this process is connected to. -1: no such connection.
int send_tcp_client(Addr _node_addr, Token _token, Packet* _pkt_);
/// As a datagram, from the local socket of the destination's port number. Not 0: that port has no socket.
int send_udp(Token _token, Packet* _pkt_);

/// One more user of a UDP port. 0; the `errno` of a socket that could not be had; or -1 when no worker can serve it.
int add_udp(Port _port);
/// One user less; the last closes the socket.
void del_udp(Port _port);

/// Source-specific multicast membership of the port's socket. Failures are not reported.
void add_membership(IP _multicast_ip, IP _multicast_if, IP _source_ip, Port _port);
void drop_membership(IP _multicast_ip, IP _multicast_if, IP _source_ip, Port _port);

/// Our own port of the established connection to `node_addr`; 0 when there is none.
Port get_gate_port_of_local(Addr node_addr);

/// The once-a-second supervision: heartbeats, silent peers, hanging connects, reconnects.
void inet_interval_event();

/// Once a second with `Runtime_options::retry_resources`: accepts what waits on listeners that were paused for want of
/// descriptors, and asks for the directory's port again if another program had it. `mutex_01` exclusive.
void retry_resources();

/// What the relay holds at present.
struct Relay_gauges {
    std::size_t clients = 0;     ///< Connections to services that stand.
    std::size_t services = 0;    ///< Connections from clients that stand.
    std::size_t connecting = 0;  ///< Connections to services that are being made, or wait for the next attempt.
    bool directory = false;      ///< The socket of the directory of names exists.
};
Relay_gauges relay_gauges();

/// Walk the tables and print nothing.
void print_client();
void print_server();
void print_inet();

}  // namespace Vorn35
