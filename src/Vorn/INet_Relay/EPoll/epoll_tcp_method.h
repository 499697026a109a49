/// @file
/// One TCP connection after its opening exchange, written once for both sides, and the steps of both opening
/// exchanges. The sides differ only in what `is_server_side` decides.
#pragma once

#include "Vorn/INet_Relay/EPoll/epoll.h"

namespace Vorn35 {

// Both sides, established.

/// Makes `recv_token` ready for the next header: a block that already says from where the message comes.
int request_recv_header(struct_epoll_overlapped_tcp* _record);
/// Reads what has arrived and hands complete messages to the processor. Receive worker.
int recv_connection(struct_epoll_overlapped_tcp* _record);
/// Writes what is queued as far as the socket takes it. Send worker.
int send_connection(struct_epoll_overlapped_tcp* _record);
/// Puts a message behind what is queued, and arms the send worker when the queue was empty. The token becomes
/// the connection's.
void queue_message(struct_epoll_overlapped_tcp* _record, Token _token, Packet* _pkt_)
    VORN35_REQUIRES(_record->send_queue_lock);
/// The same for the closing marker.
void queue_closing_marker(struct_epoll_overlapped_tcp* _record) VORN35_REQUIRES(_record->send_queue_lock);
/// Tells the processor that the connection came up or went down.
/// @param _made when that was, read under the lock of the record's table: by it a `Proxy` tells the events of a
///         connection from those of its predecessor.
void post_connection_event(struct_epoll_overlapped_tcp* _record, void (Packet::*_set_marker)(), Error _error,
                           ks_clock_t _made);

// Both sides, opening exchange: 1024 bytes each way. `ended` is reported as a failure.

enum class Exchange { under_way, done, failed };
Exchange send_opening(struct_epoll_overlapped_tcp* _record, Tcp_header* _header);
Exchange recv_opening(struct_epoll_overlapped_tcp* _record, Tcp_header* _header_);
/// Reads `local_addr` from the socket, takes its port for the gate port, and sets `TCP_NODELAY` if asked.
void set_option(struct_epoll_overlapped_tcp* _record, bool _nagle_off);

// Client side.

int request_connect(struct_epoll_overlapped_tcp* _record) VORN35_REQUIRES(g_client_lock);
int completed_connect(struct_epoll_overlapped_tcp* _record);
int failed_connect(struct_epoll_overlapped_tcp* _record);
int failed_connect_init(struct_epoll_overlapped_tcp* _record);
int send_client_init(struct_epoll_overlapped_tcp* _record);
int recv_client_init(struct_epoll_overlapped_tcp* _record);
int establish_connect(struct_epoll_overlapped_tcp* _record);
int unestablish_connect(struct_epoll_overlapped_tcp* _record);
int close_client(struct_epoll_overlapped_tcp* _record);
int failed_send_client(struct_epoll_overlapped_tcp* _record);
int completed_recv_client_header(struct_epoll_overlapped_tcp* _record);

// Server side.

int request_listen(Port* _port_);
void close_listener(Port _port);
/// 0, also when no connection waits any more; -1 when the process cannot accept.
int accept(struct_epoll_overlapped* _listener);
int recv_server_init(struct_epoll_overlapped_tcp* _record);
int send_server_init(struct_epoll_overlapped_tcp* _record);
int establish_accept(struct_epoll_overlapped_tcp* _record);
int unestablish_accept(struct_epoll_overlapped_tcp* _record);
int shutdown_server(struct_epoll_overlapped_tcp* _record);
int failed_send_server(struct_epoll_overlapped_tcp* _record);
int failed_server_init(struct_epoll_overlapped_tcp* _record);
/// A `signal_return` or `call_return` whose header starts to go out waits for its acknowledgement from here
/// on.
void wait_ack(struct_epoll_overlapped_tcp* _record, Token _token, Packet* _pkt_);
/// Its header did not start to go out after all. Only the send worker puts any there, so the last ones are its own.
void unwait_ack(struct_epoll_overlapped_tcp* _record, Packet* _pkt_);
/// Takes one acknowledgement; matched by order alone. One that nothing waits for is dropped.
void take_ack(struct_epoll_overlapped_tcp* _record);

// UDP.

int send_udp(struct_epoll_overlapped_ex* _record);
int recv_udp(struct_epoll_overlapped_ex* _record);
int udp_initialize(Port _port);
void udp_finalize(Port _port);
/// All of them, and the use counts. Only when no worker runs, so without the locks.
void udp_finalize() VORN35_NO_THREAD_SAFETY_ANALYSIS;
/// Lets the port's socket receive from all groups that this host is a member of, not only from its own.
void admit_multicast(Port _port);

}  // namespace Vorn35
