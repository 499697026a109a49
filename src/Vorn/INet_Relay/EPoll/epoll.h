/// @file
/// Connection records, the relay's tables and the operations on them that both sides of TCP and UDP share.
///
/// Each socket has one record, and the record's pointer is the data of every epoll event of that socket. One-shot events
/// drive a small state machine, so at most one worker per direction works on a record at a time.
///
/// Ownership:
///  - The receive worker alone uses the receiving side of a record (`recv_*`), until the record is reclaimed.
///  - `send_queue_lock` guards the sending side, except the messages that the send worker has in flight.
///  - A table's lock guards the table, and a record in a table is alive.
/// A record that ends goes to `retire` (reap.h), which frees it when no worker can still use it.
///
/// lock_order.h defines the order of the locks.
#pragma once

#include <atomic>
#include <deque>
#include <list>
#include <map>
#include <queue>
#include <set>

#include "Vorn/INet_Relay/inet_relay.h"
#include "Vorn/mutex.h"
#include "Vorn35/vorn_error.h"

namespace Vorn35 {

using Socket = int;

/// A queue of tokens that can also be iterated.
class token_queue_t : public std::queue<Token, std::deque<Token>> {
public:
    const container_type& all() const { return c; }
    /// Removes the newest token.
    void pop_back() { c.pop_back(); }
};

enum enum_socket_type : std::int32_t {
    c_socket_udp = 0,
    c_socket_listener = 1,
    c_socket_init_server = 2,  ///< Accepted, opening exchange under way.
    c_socket_init_client = 3,  ///< Connecting, or opening exchange under way.
    c_socket_server = 4,       ///< Accepted and established.
    c_socket_client = 5,       ///< Client and established.
    c_socket_idle = 6,         ///< Never assigned.
};

/// Base of every record; used alone for a listener.
struct struct_epoll_overlapped {
    std::atomic<Socket> socket;          ///< -1 when closed.
    std::atomic<enum_socket_type> type;  ///< Changes only forward, from an init type to its established one.
    Addr local_addr;

    /// Synchronises a hand-off through epoll: `watch` and `arm` release it, and the worker that gets the event acquires it. A
    /// hand-off through a ready list is synchronised by the lock of that list.
    std::atomic<unsigned> handoff{0};

    /// Holds the record's list node while the record is not in a ready list (ready_list.h).
    std::list<struct_epoll_overlapped*> parked{this};
    const std::list<struct_epoll_overlapped*>::iterator node = parked.begin();

    struct_epoll_overlapped(Socket _socket, enum_socket_type _type, Addr _local_addr)
        : socket(_socket), type(_type), local_addr(_local_addr) {}
    struct_epoll_overlapped(const struct_epoll_overlapped&) = delete;
    struct_epoll_overlapped& operator=(const struct_epoll_overlapped&) = delete;
    virtual ~struct_epoll_overlapped() = default;
};
using epoll_overlapped_t = struct_epoll_overlapped;

/// Adds the two directions; used alone for UDP.
struct struct_epoll_overlapped_ex : struct_epoll_overlapped {
    Token recv_token;  ///< The message being received; owned. Only the receive worker uses it.
    /// Guards `send_queue`, `send_state`, `send_buf`, `send_len` (once established), `header_send`,
    /// `in_flight`, `b_remove_client` and `ended`. Below the tables' locks.
    Mutex<lock_order::send_queue> send_queue_lock;
    /// Unbounded; owned. The front token is the one being sent.
    token_queue_t send_queue VORN35_GUARDED_BY(send_queue_lock);
    /// Number of messages at the front of `send_queue` that the send worker writes without the lock. They stay queued
    /// meanwhile; a thread that wants to remove them calls `wait_for_write` first.
    std::size_t in_flight VORN35_GUARDED_BY(send_queue_lock) = 0;
    bool send_state VORN35_GUARDED_BY(send_queue_lock) =
        false;  ///< In the ready list, armed for sending, or served by the send worker.
    std::atomic<ks_clock_t> recv_clk{ks_clock_t{}};  ///< Last bytes received.
    std::uint8_t* recv_buf = nullptr;
    std::size_t recv_len = 0;                        ///< Bytes still awaited for the current piece.
    std::atomic<ks_clock_t> send_clk{ks_clock_t{}};  ///< Last activity towards the peer; a heartbeat counts.
    std::uint8_t* send_buf = nullptr;  ///< Next bytes to send. Null: the front of the queue is a closing marker.
    std::size_t send_len = 0;          ///< Bytes left in the current piece.

    using struct_epoll_overlapped::struct_epoll_overlapped;
    ~struct_epoll_overlapped_ex() override;
};
using epoll_overlapped_ex_t = struct_epoll_overlapped_ex;

/// One TCP connection. The relay owns it from socket creation to `delete_overlapped`.
///
/// An empty `Token` in `send_queue` is a closing marker: when it reaches the front, the write side closes.
struct struct_epoll_overlapped_tcp : struct_epoll_overlapped_ex {
    const Addr remote_addr;        ///< Server as dialled, or peer as accepted. Key of all tables.
    Port gate_port_of_local = 0;   ///< Our port of the connection, as the peer's opening record names it.
    Tcp_header tcp_server_header;  ///< Sent by the server side, received by the client side.
    Tcp_header tcp_client_header;  ///< The other way.
    bool header_send = false;      ///< The current piece is a `Header`, not the payload.
    /// `del_client` was called: do not reconnect, refuse new messages. Written under `g_client_lock` and
    /// `send_queue_lock`, so either is enough to read it.
    bool b_remove_client = false;
    bool ended VORN35_GUARDED_BY(send_queue_lock) =
        false;  ///< Passed to `retire`: accepts no message and cannot be armed.
    /// Silent, and shut down; stays in its table until the receive worker sees the end of the stream. Only the client side
    /// refuses messages meanwhile. Guarded by the table's lock.
    bool b_cut = false;
    std::atomic<std::uint32_t> receive_window{0};  ///< Its number, once established (receive_window.h).
    std::atomic<std::uint64_t> received_bytes{0};  ///< Of messages, headers included.
    std::atomic<std::uint64_t> sent_bytes{0};
    /// When its opening exchange began. On the client side that of the last attempt, written before a worker has the record.
    ks_clock_t begun;
    /// Bytes in `send_queue`.
    std::size_t queued_bytes VORN35_GUARDED_BY(send_queue_lock) = 0;
    /// Guards `ack_wait_q`. Innermost of the relay.
    Mutex<lock_order::ack_wait_q> ack_wait_q_lock;
    /// Server side: headers of plain returns that were sent and not yet acknowledged; owned. When a silent client is cut, each
    /// becomes a cancel for its `Stub`.
    token_queue_t ack_wait_q VORN35_GUARDED_BY(ack_wait_q_lock);

    struct_epoll_overlapped_tcp(Socket _socket, enum_socket_type _type, Addr _local_addr, Addr _remote_addr)
        : struct_epoll_overlapped_ex(_socket, _type, _local_addr),
          remote_addr(_remote_addr),
          begun(std::chrono::steady_clock::now()) {}
    ~struct_epoll_overlapped_tcp() override;

    bool is_server_side() const {
        const auto kind = type.load();
        return kind == c_socket_server || kind == c_socket_init_server;
    }
};
using epoll_overlapped_tcp_t = struct_epoll_overlapped_tcp;

using establish_map_t = std::map<Addr, struct_epoll_overlapped_tcp*>;
using connect_map_t = establish_map_t;
using udp_map_t = std::map<Port, struct_epoll_overlapped_ex*>;
using udp_refs_t = std::map<Port, std::size_t>;

// Event masks.
inline constexpr std::uint32_t c_arm_send = 0xC0000004;       ///< EPOLLET, EPOLLONESHOT, EPOLLOUT; also a connect.
inline constexpr std::uint32_t c_force_connect = 0xC0000005;  ///< The same and EPOLLIN: wakes a hanging connect.
inline constexpr std::uint32_t c_arm_recv = 0x40000001;       ///< EPOLLONESHOT, EPOLLIN.
inline constexpr std::uint32_t c_watch_input = 0x80000001;    ///< EPOLLET, EPOLLIN: listener, UDP receive.
inline constexpr std::uint32_t c_parked = 0x80000008;         ///< EPOLLET, EPOLLERR: UDP socket with nothing to send.

// Configuration; written once by `initialize_inet`.
extern bool g_auto_disconnect;
extern bool g_server_socket_reuse;
extern int g_listen_backlog;
extern bool g_server_linger_use;
extern int g_server_linger_time;
extern bool g_server_nagle_off_use;
extern bool g_client_linger_use;
extern int g_client_linger_time;
extern bool g_client_nagle_off_use;

// The tables are never destroyed: a process may end without `finalize`, while the workers run.

/// Listeners by port; owned. Only `add_server` and `del_server` change it; their callers hold the processor's `mutex_01`
/// exclusive.
extern std::map<Port, struct_epoll_overlapped*>& g_server_map;

/// Guards the four tables of client records. Outermost lock of the relay.
extern Mutex<lock_order::client> g_client_lock;
extern connect_map_t& g_connect_map VORN35_GUARDED_BY(g_client_lock);  ///< Connecting, or in the opening exchange.
extern establish_map_t& g_establish_client_map VORN35_GUARDED_BY(g_client_lock);  ///< Established.
extern connect_map_t& g_connect_fail_map
    VORN35_GUARDED_BY(g_client_lock);  ///< Waiting for the next reconnect; socket -1.
/// Records that `del_client` removed and whose address has a successor already. They finish closing here.
extern std::set<struct_epoll_overlapped_tcp*>& g_closing_clients VORN35_GUARDED_BY(g_client_lock);

/// Guards `g_establish_server_map`. Outermost lock of the relay; never together with `g_client_lock`.
extern Mutex<lock_order::server> g_establish_server_map_lock;
extern establish_map_t& g_establish_server_map VORN35_GUARDED_BY(g_establish_server_map_lock);

/// Guards `g_udp_refs`, and serialises the opening and closing of UDP sockets. Outside `g_udp_map_lock`.
extern Mutex<lock_order::udp_refs> g_udp_refs_mutex;
extern udp_refs_t& g_udp_refs VORN35_GUARDED_BY(g_udp_refs_mutex);
/// Guards `g_udp_map`. A record found under it stays alive while the lock is held. Outside a UDP record's
/// `send_queue_lock`.
extern Mutex<lock_order::udp_map> g_udp_map_lock;
extern udp_map_t& g_udp_map VORN35_GUARDED_BY(g_udp_map_lock);

/// Guards `ooo_count` and `g_tcp_records`. A leaf.
extern Mutex<lock_order::ooo> ooo;
/// All live TCP records and their number. Includes records in no table: those in the opening exchange and those that close.
extern int ooo_count VORN35_GUARDED_BY(ooo);
extern std::set<struct_epoll_overlapped_tcp*>& g_tcp_records VORN35_GUARDED_BY(ooo);

// The epoll instances; -1 when closed.
extern int epoll_tcp_init;
extern int epoll_tcp_recv;
extern int epoll_tcp_send;
extern int epoll_udp_recv;
extern int epoll_udp_send;

/// Passes a received message to the processor: `send_sdk` (Vorn_processor.h).
extern std::atomic<send_sdk_t*> send_sdk__;

/// The shared heartbeat message. Each queue entry holds a reference to its header, which is never written.
extern Token heartbeat_token;
extern Packet* heartbeat_pkt;

/// The steady clock now.
ks_clock_t relay_clock();

/// Adds the record to an epoll instance (`watch`), or re-arms it there (`arm`). Afterwards the caller must not touch what
/// the worker of that instance owns. `arm` does nothing for a record that has ended.
/// @return 0, or -1 when the record could not be added.
int watch(int _epoll, struct_epoll_overlapped* _record, std::uint32_t _events);
void arm(int _epoll, struct_epoll_overlapped* _record, std::uint32_t _events);

struct_epoll_overlapped_tcp* new_overlapped_tcp(Socket _socket, enum_socket_type _type, Addr _local_addr,
                                                Addr _remote_addr);
/// Waits until the send worker has no message of the record in flight, so that the queue tells exactly what was sent.
/// Releases the lock during the wait, which lasts at most one turn of the worker, since its writes do not block.
void wait_for_write(struct_epoll_overlapped_tcp* _record) VORN35_REQUIRES(_record->send_queue_lock);
/// Ends a TCP record that is in no table: closes the socket, returns queued messages to their senders as errors, and
/// retires the record. Idempotent.
int delete_overlapped(struct_epoll_overlapped_tcp* _record);
void print_ooo();

/// Destroys every TCP record and clears all tables without a notice to the processor. Call it only when no worker runs.
void clear_tcp_records() VORN35_NO_THREAD_SAFETY_ANALYSIS;

/// Gives the error form of an undelivered message to the processor, if it has one, and frees the token. An undelivered return
/// reaches its `Stub` as a cancel; a plain request its waiter, unless the loss of the connection reached it before. A
/// `delegate_` request finds no addressee.
/// @param _to_stub a `Stub` sent the message.
void return_undelivered(Token _token, Error _error, bool _to_stub);

// Supervision, called by `inet_interval_event` in this order.
void timer_cancel_connect(ks_clock_t _clk);
void timer_cancel_openings(ks_clock_t _clk);
void timer_shutdown_server(ks_clock_t _clk);
void timer_shutdown_client(ks_clock_t _clk);
void timer_reconnect_client();
/// Queues the shared heartbeat. The caller holds the lock of the record's table.
int request_send_hearbeat(struct_epoll_overlapped_tcp* _record);

}  // namespace Vorn35
