#include "Vorn/INet_Relay/EPoll/epoll_tcp_method.h"
#include "Vorn/INet_Relay/EPoll/epoll_thread.h"

namespace Vorn35 {

void epoll_thread_udp_recv_entry() {
    run_worker<struct_epoll_overlapped_ex>(Worker::udp_recv, epoll_udp_recv, On_fault::go_on, nullptr,
                                           [](auto* _record, std::uint32_t) { recv_udp(_record); });
}

}  // namespace Vorn35
