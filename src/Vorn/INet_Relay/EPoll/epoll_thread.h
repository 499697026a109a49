/// @file
/// The five workers. Each waits on its own epoll instance and runs the step that the record's type and the event require.
/// An event with null data makes a worker end.
#pragma once

#include <sys/epoll.h>

#include <cerrno>
#include <string>

#include "Vorn/INet_Relay/EPoll/ready_list.h"

namespace Vorn35 {

void epoll_thread_tcp_init_entry();
void epoll_thread_tcp_recv_entry();
void epoll_thread_tcp_send_entry();
void epoll_thread_udp_recv_entry();
void epoll_thread_udp_send_entry();

/// The event word reports an error or a hang-up.
inline bool is_broken(std::uint32_t _events) {
    return (_events & (EPOLLERR | EPOLLHUP)) != 0;
}

/// What a thrown `std::string` does to a worker: it reports a fault of the worker itself. No other exception ends a worker.
enum class On_fault { end, go_on };

/// Records of the ready list that a send worker serves before it polls its epoll instance.
inline constexpr int c_served_per_look = 64;

/// The loop of every worker.
/// @param _ready_list ready list of a send worker, whose records it serves without an event; null for other workers.
/// @param _step called with the record and the event word of one event.
template <class Record, class Step>
void run_worker(Worker _worker, int _epoll, On_fault _on_fault, Ready_list* _ready_list, Step _step) {
    if (_epoll == -1) return;  // it could not be created, so no event can arrive
    worker_begin(_worker);
    int served = 0;
    for (;;) {
        try {
            worker_pass(_worker);
            struct_epoll_overlapped* const waiting = _ready_list == nullptr ? nullptr : _ready_list->next();
            if (waiting != nullptr) {
                _step(static_cast<Record*>(waiting), EPOLLOUT);
                if (++served < c_served_per_look) continue;
            }
            served = 0;
            epoll_event event{};
            const int count = ::epoll_wait(_epoll, &event, 1, waiting == nullptr ? -1 : 0);
            if (_ready_list != nullptr && waiting == nullptr) _ready_list->awake();
            if (count == 0 && waiting != nullptr) continue;
            if (count == -1 && errno == EINTR) continue;
            if (count <= 0) throw std::string("epoll_wait");
            if (event.data.ptr == nullptr) break;
            if (is_wake_up(event.data.ptr)) continue;
            auto* const record = static_cast<struct_epoll_overlapped*>(event.data.ptr);
            record->handoff.load(std::memory_order_acquire);
            _step(static_cast<Record*>(record), event.events);
        } catch (const std::string&) {
            if (_on_fault == On_fault::end) break;
        } catch (...) {
            continue;
        }
    }
    worker_end(_worker);
}

}  // namespace Vorn35
