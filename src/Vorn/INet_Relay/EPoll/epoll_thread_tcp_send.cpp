#include <pthread.h>
#include <sched.h>

#include "Vorn/INet_Relay/EPoll/epoll_tcp_method.h"
#include "Vorn/INet_Relay/EPoll/epoll_thread.h"

namespace Vorn35 {

namespace {

void step(struct_epoll_overlapped_tcp* _record, std::uint32_t _events) {
    const bool broken = is_broken(_events);
    switch (_record->type) {
        case c_socket_init_client:
            broken ? failed_connect_init(_record) : send_client_init(_record);
            return;
        case c_socket_init_server:
            broken ? failed_server_init(_record) : send_server_init(_record);
            return;
        case c_socket_server:
            broken ? failed_send_server(_record) : send_connection(_record);
            return;
        default:
            broken ? failed_send_client(_record) : send_connection(_record);
            return;
    }
}

}  // namespace

void epoll_thread_tcp_send_entry() {
    // The thread that wakes this worker has more to do, such as a caller that is about to wait for its answer. On a shared
    // processor that thread must continue first, so this worker must not preempt it.
    const sched_param none{};
    ::pthread_setschedparam(::pthread_self(), SCHED_BATCH, &none);
    run_worker<struct_epoll_overlapped_tcp>(Worker::tcp_send, epoll_tcp_send, On_fault::end, &g_tcp_ready_list, step);
}

}  // namespace Vorn35
