/// @file
/// The five workers. Each waits at its own epoll instance and runs the step that a record's type and the
/// event call for. An event without data tells a worker to leave.
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

/// Error or hang-up stands in the event word.
inline bool is_broken(std::uint32_t _events) {
    return (_events & (EPOLLERR | EPOLLHUP)) != 0;
}

/// What a `std::string`, the sign of a fault of the worker itself, does to it. Anything else never ends a
/// worker.
enum class On_fault { end, go_on };

/// Records of its line that a send worker serves before it looks at its epoll instance.
inline constexpr int c_served_per_look = 64;

/// The shape that all workers share.
/// @param _line of a send worker: its records have something to send, and are served without an event.
/// @param _step called with the record and the event word; one event a turn.
template <class Record, class Step>
void run_worker(Worker _worker, int _epoll, On_fault _on_fault, Ready_list* _line, Step _step) {
    if (_epoll == -1) return;  // there was no descriptor for it: nothing can come
    worker_begin(_worker);
    int served = 0;
    for (;;) {
        try {
            worker_pass(_worker);
            struct_epoll_overlapped* const waiting = _line == nullptr ? nullptr : _line->next();
            if (waiting != nullptr) {
                _step(static_cast<Record*>(waiting), EPOLLOUT);
                if (++served < c_served_per_look) continue;
            }
            served = 0;
            epoll_event event{};
            const int count = ::epoll_wait(_epoll, &event, 1, waiting == nullptr ? -1 : 0);
            if (_line != nullptr && waiting == nullptr) _line->awake();
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
