/// @file
/// Deferred reclamation of everything that a worker may still use.
///
/// A worker gets a record (connection, listener or UDP port) as a pointer in an epoll event. So a record can be removed
/// while its pointer is on the way. The protocol:
///  1. The thread that removes a record takes it out of the tables, closes its socket with `end_socket`, and passes it to
///     `retire`.
///  2. A worker drops every pointer before it reaches the head of its loop, where it calls `worker_pass`.
///  3. A retired record is destroyed after each worker has reached the head of its loop once.
/// A round wakes workers that sleep in `epoll_wait`. Records retired during a round wait for the next one, so each round
/// costs one wake-up per worker, however many records it frees.
#pragma once

#include <memory>

#include "Vorn/INet_Relay/EPoll/epoll.h"

namespace Vorn35 {

enum class Worker : unsigned { tcp_init, tcp_recv, tcp_send, udp_recv, udp_send };
inline constexpr unsigned c_worker_count = 5;

/// Adds a wake-up channel to each epoll instance. Call it before the workers start.
void reap_open();
/// Destroys what is left. Call it after the workers were joined.
void reap_close();

/// Called at the begin and at every end of a worker's thread.
void worker_begin(Worker _worker);
void worker_end(Worker _worker);
/// Called at the head of the worker's loop, where the worker holds no pointer to a record.
void worker_pass(Worker _worker);
/// Wakes a worker that sleeps in its epoll instance, so that it reaches the head of its loop. Valid between `reap_open` and
/// `reap_close`.
void wake_worker(Worker _worker);
/// The event only wakes the worker and belongs to no record.
bool is_wake_up(const void* _event_data);

/// A placeholder socket, always writable; -1 while no descriptor was free for it.
Socket dead_socket();

/// Closes the record's socket at once but keeps its descriptor number in use. So a worker that still reads the number from
/// the record cannot reach another connection. Idempotent.
/// @return the number to pass to `retire`; -1 if the record has no socket.
Socket end_socket(struct_epoll_overlapped* _record);

/// Destroys the record and frees the number when no worker can use them any more.
void retire(std::unique_ptr<struct_epoll_overlapped> _record, Socket _ended_socket);

}  // namespace Vorn35
