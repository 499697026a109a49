/// @file
/// How a send worker learns of records that have something to send.
///
/// Whoever puts a message into an empty queue puts the record into the line of its worker. The worker serves the line
/// and asks epoll only about sockets that take nothing more for now, so a message costs one wake-up at most, and none
/// while the worker is awake.
#pragma once

#include <list>

#include "Vorn/INet_Relay/EPoll/reap.h"
#include "Vorn/mutex.h"

namespace Vorn35 {

class Ready_list {
public:
    explicit Ready_list(Worker _worker) : worker(_worker) {}
    Ready_list(const Ready_list&) = delete;
    Ready_list& operator=(const Ready_list&) = delete;

    /// Puts a record at the end, if its socket is open and it is not in the line. The worker is woken at the end of the
    /// thread's `Wakeup_coalescing`.
    void put(struct_epoll_overlapped* _record);
    /// A record that has ended leaves the line.
    void remove(struct_epoll_overlapped* _record);

    // The worker's part.

    /// Takes the first record out; null when there is none, and the worker counts as asleep from then on.
    struct_epoll_overlapped* next();
    void awake();

    /// Wakes the worker if it sleeps and the line is not empty.
    void wake();

private:
    const Worker worker;
    /// Guards the line, the places of the records in it, and `asleep`.
    Mutex<lock_order::ready_list> lock;
    std::list<struct_epoll_overlapped*> ready VORN35_GUARDED_BY(lock);  ///< Made of the records' own nodes.
    /// The worker waits at epoll, and nobody has woken it for the line yet.
    bool asleep VORN35_GUARDED_BY(lock) = false;
};

/// Never destroyed: a process may end without `finalize`, while the workers run.
extern Ready_list& g_tcp_ready_list;
extern Ready_list& g_udp_ready_list;

}  // namespace Vorn35
