#include "Vorn/INet_Relay/EPoll/epoll_tcp_method.h"
#include "Vorn/INet_Relay/EPoll/epoll_thread.h"

namespace Vorn35 {

void epoll_thread_udp_send_entry() {
    run_worker<struct_epoll_overlapped_ex>(Worker::udp_send, epoll_udp_send, On_fault::end, &g_udp_ready_list,
                                           [](auto* _record, std::uint32_t) { send_udp(_record); });
}

}  // namespace Vorn35
