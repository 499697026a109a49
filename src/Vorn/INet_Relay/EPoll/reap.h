/// @file
/// Deferred destruction: the one home of everything that a worker may still have in hand.
///
/// A worker learns of a record through a pointer in an epoll event, so a record (connection, listener or UDP
/// port) can be removed while its pointer is on the way. The rule:
///  1. whoever removes a record takes it out of the tables, closes its socket with `end_socket`, and hands it to
///     `retire`;
///  2. a worker drops every pointer before it comes to the head of its loop, where it calls `worker_pass`;
///  3. a retired record is destroyed when each worker has come to the head of its loop once since.
/// A worker that sleeps in `epoll_wait` is woken for it. Records that come while such a round is under way
/// wait for the next one, so the cost is one wake-up of each worker per round and not per record.
#pragma once

#include <memory>

#include "Vorn/INet_Relay/EPoll/epoll.h"

namespace Vorn35 {

enum class Worker : unsigned { tcp_init, tcp_recv, tcp_send, udp_recv, udp_send };
inline constexpr unsigned c_worker_count = 5;

/// Puts a wake-up channel into each epoll instance. Before the workers start.
void reap_open();
/// Destroys whatever is left. After the workers were joined.
void reap_close();

/// The worker's thread begins, and ends for whatever reason.
void worker_begin(Worker _worker);
void worker_end(Worker _worker);
/// Head of the worker's loop: it holds no pointer to any record.
void worker_pass(Worker _worker);
/// Wakes a worker that sleeps at its epoll instance; it comes to the head of its loop. Between `reap_open` and
/// `reap_close`.
void wake_worker(Worker _worker);
/// The event is a wake-up for the head of the loop and nothing else.
bool is_wake_up(const void* _event_data);

/// A socket of no use, which is writable at once; -1 as long as there is no descriptor for it.
Socket dead_socket();

/// Closes the record's socket at once while its number stays taken, so that a worker that still reads the
/// number from the record can never reach another connection by it. Idempotent.
/// @return the number to give to `retire`; -1 when there was no socket.
Socket end_socket(struct_epoll_overlapped* _record);

/// Destroys the record and frees the number when no worker can have them in hand any more.
void retire(std::unique_ptr<struct_epoll_overlapped> _record, Socket _ended_socket);

}  // namespace Vorn35
