/// @file
/// The ready list of a send worker: records that have something to send.
///
/// A thread that puts a message into an empty queue adds the record to the list. The worker serves the list, and uses epoll
/// only for sockets that are full. So a message costs at most one wake-up, and none while the worker is awake.
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

    /// Appends a record if its socket is open and it is not in the list. Wakes the worker at the end of the thread's
    /// `Wakeup_coalescing`.
    void put(struct_epoll_overlapped* _record);
    /// Removes a record that has ended.
    void remove(struct_epoll_overlapped* _record);

    // The worker's part.

    /// Removes and returns the first record. Returns null if the list is empty, and then the worker counts as asleep.
    struct_epoll_overlapped* next();
    void awake();

    /// Wakes the worker if it sleeps and the list is not empty.
    void wake();

private:
    const Worker worker;
    /// Guards the list, `parked` of every record, and `asleep`.
    Mutex<lock_order::ready_list> lock;
    std::list<struct_epoll_overlapped*> ready VORN35_GUARDED_BY(lock);  ///< Consists of the records' own nodes.
    /// The worker waits in epoll, and no thread has woken it yet.
    bool asleep VORN35_GUARDED_BY(lock) = false;
};

/// Never destroyed: a process may end without `finalize`, while the workers run.
extern Ready_list& g_tcp_ready_list;
extern Ready_list& g_udp_ready_list;

}  // namespace Vorn35
