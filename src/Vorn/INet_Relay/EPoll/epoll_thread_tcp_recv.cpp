#include "Vorn/INet_Relay/EPoll/epoll_tcp_method.h"
#include "Vorn/INet_Relay/EPoll/epoll_thread.h"

namespace Vorn35 {

namespace {

void step(struct_epoll_overlapped_tcp* _record, std::uint32_t _events) {
    const bool broken = is_broken(_events);
    switch (_record->type) {
        case c_socket_init_client:
            broken ? failed_connect_init(_record) : recv_client_init(_record);
            return;
        case c_socket_init_server:
            broken ? failed_server_init(_record) : recv_server_init(_record);
            return;
        case c_socket_server:
            broken ? shutdown_server(_record) : recv_connection(_record);
            return;
        default:
            if (broken) {
                unestablish_connect(_record);
                close_client(_record);
            } else {
                recv_connection(_record);
            }
            return;
    }
}

}  // namespace

void epoll_thread_tcp_recv_entry() {
    run_worker<struct_epoll_overlapped_tcp>(Worker::tcp_recv, epoll_tcp_recv, On_fault::end, nullptr, step);
}

}  // namespace Vorn35
