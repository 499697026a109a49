#include "Vorn/INet_Relay/EPoll/epoll_tcp_method.h"
#include "Vorn/INet_Relay/EPoll/epoll_thread.h"

namespace Vorn35 {

namespace {

// The whole event word of a connecting socket is compared, deliberately not single bits.
constexpr std::uint32_t c_connected = 0x04;
constexpr std::uint32_t c_connected_and_hung_up = 0x14;
constexpr std::uint32_t c_refused = 0x1C;

/// The kernel is about to end the connection: its error shows ahead of the rest of the word. Nobody is told of the rest
/// unless the socket is armed again.
bool is_half_told(std::uint32_t _events) {
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
            } else if (is_half_told(_events)) {
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
