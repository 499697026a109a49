#include "Vorn/INet_Relay/EPoll/epoll_tcp_method.h"
#include "Vorn/INet_Relay/EPoll/epoll_thread.h"

namespace Vorn35 {

namespace {

// Deliberately compares the whole event word of a connecting socket, not single bits.
constexpr std::uint32_t c_connected = 0x04;
constexpr std::uint32_t c_connected_and_hung_up = 0x14;
constexpr std::uint32_t c_refused = 0x1C;

/// The kernel is ending the connection, and reports its error before the other bits. The one-shot event is used up, so the
/// socket must be armed again to get the whole word.
bool is_partial(std::uint32_t _events) {
    return (_events & EPOLLERR) != 0;
}

void step(struct_epoll_overlapped* _record, std::uint32_t _events) {
    switch (_record->type) {
        case c_socket_listener:
            if (is_broken(_events)) return;
            if (accept(_record) != 0) throw std::string("epoll.accept error");
            return;
        case c_socket_init_client: {
            auto* const client = static_cast<struct_epoll_overlapped_tcp*>(_record);
            if (_events == c_connected || _events == c_connected_and_hung_up) {
                completed_connect(client);
            } else if (_events == c_refused) {
                failed_connect(client);
            } else if (is_partial(_events)) {
                arm(epoll_tcp_init, client, c_arm_send);
            }
            return;
        }
        default:
            return;
    }
}

}  // namespace

void epoll_thread_tcp_init_entry() {
    run_worker<struct_epoll_overlapped>(Worker::tcp_init, epoll_tcp_init, On_fault::end, nullptr, step);
}

}  // namespace Vorn35
