/// @file
/// The steps of a TCP connection. One implementation of the established connection serves both sides, which differ only
/// where the code checks `is_server_side`; each side has its own steps of the opening exchange.
#pragma once

#include "Vorn/INet_Relay/EPoll/epoll.h"

namespace Vorn35 {

// Both sides, established.

/// Prepares `recv_token` for the next header, with the source and destination of this connection.
int request_recv_header(struct_epoll_overlapped_tcp* _record);
/// Reads what has arrived and passes complete messages to the processor. Receive worker.
int recv_connection(struct_epoll_overlapped_tcp* _record);
/// Writes queued messages until the socket is full. Send worker.
int send_connection(struct_epoll_overlapped_tcp* _record);
/// Whether `Runtime_options::send_bytes` leaves room for the message; counts it if not.
bool has_room(const struct_epoll_overlapped_tcp* _record, const Packet* _pkt) VORN35_REQUIRES(_record->send_queue_lock);
/// Appends a message to the queue. If the queue was empty, puts the record into the send worker's ready list. The connection
/// takes over the token.
void queue_message(struct_epoll_overlapped_tcp* _record, Token _token, Packet* _pkt_)
    VORN35_REQUIRES(_record->send_queue_lock);
/// The same for the closing marker.
void queue_closing_marker(struct_epoll_overlapped_tcp* _record) VORN35_REQUIRES(_record->send_queue_lock);
/// Notifies the processor that the connection was established or lost.
/// @param _made the time of the event, read under the lock of the record's table. It lets a `Proxy` distinguish events of
///         this connection from events of the previous one.
void post_connection_event(struct_epoll_overlapped_tcp* _record, void (Packet::*_set_marker)(), Error _error,
                           ks_clock_t _made);

// Both sides, opening exchange: 1024 bytes each way. `ended` is reported as a failure.

enum class Exchange { under_way, done, failed };
Exchange send_opening(struct_epoll_overlapped_tcp* _record, Tcp_header* _header);
Exchange recv_opening(struct_epoll_overlapped_tcp* _record, Tcp_header* _header_);
/// Sets `local_addr` and the gate port from the socket, and `TCP_NODELAY` if configured.
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
/// A header is complete. If it is of an answer to a plain signal or call: queues the acknowledgement, ahead of the payload.
int completed_recv_client_header(struct_epoll_overlapped_tcp* _record);

// Server side.

int request_listen(Port* _port_);
void close_listener(Port _port);
/// @return 0 when no connection waits any more; -1 when the process cannot accept.
int accept(struct_epoll_overlapped* _listener);
/// Arms all listeners again if one was paused. `mutex_01` exclusive.
void resume_accepts();
int recv_server_init(struct_epoll_overlapped_tcp* _record);
int send_server_init(struct_epoll_overlapped_tcp* _record);
int establish_accept(struct_epoll_overlapped_tcp* _record);
int unestablish_accept(struct_epoll_overlapped_tcp* _record);
int shutdown_server(struct_epoll_overlapped_tcp* _record);
int failed_send_server(struct_epoll_overlapped_tcp* _record);
int failed_server_init(struct_epoll_overlapped_tcp* _record);
/// Queues a `signal_return` or `call_return` for its acknowledgement. Called before the write that may start its header.
void wait_ack(struct_epoll_overlapped_tcp* _record, Token _token, Packet* _pkt_);
/// Undoes `wait_ack` for a header of which no byte was written. Only the send worker appends, so the newest entry is its.
void unwait_ack(struct_epoll_overlapped_tcp* _record, Packet* _pkt_);
/// Handles one acknowledgement. Acknowledgements match returns by order only; an unexpected one is dropped.
void take_ack(struct_epoll_overlapped_tcp* _record);

// UDP.

int send_udp(struct_epoll_overlapped_ex* _record);
int recv_udp(struct_epoll_overlapped_ex* _record);
int udp_initialize(Port _port);
void udp_finalize(Port _port);
/// Closes all UDP sockets and clears the use counts. Takes no locks: call it only when no worker runs.
void udp_finalize() VORN35_NO_THREAD_SAFETY_ANALYSIS;
/// Makes the port's socket receive datagrams of every multicast group that this host has joined.
void admit_multicast(Port _port);

}  // namespace Vorn35
