#include "Vorn/SDK/Stub/Datagram/_Stub_datagram.h"

#include <cstring>

#include "Vorn/INet_Relay/inet_relay.h"
#include "Vorn/SDK/Stub/_Stub.h"
#include "Vorn35/vorn_error.h"

namespace Vorn35 {

namespace {

constexpr Pksize c_max_datagram_size = 65000;

}  // namespace

_Stub_datagram::_Stub_datagram(_Stub* _op_, Msg_code _code, interface_kind_t _b_interface)
    : _vorn_method(_op_, _code, _b_interface) {
    _op->add_datagram(code, this);
}

void _Stub_datagram::leave_table() {
    _op->del_datagram(code);
}

Error _Stub_datagram::cast(IP _ip, const void* _datagram_data_, Pksize _datagram_size) {
    if (!_op->is_created()) return VORN_ERR_IS_NOT_CREATED_;
    if (_datagram_size > c_max_datagram_size) return VORN_ERR_TOO_BIG_SIZE_;
    Token token;
    if (token.alloc_header() != 0) return VORN_ERR_EMPTY_VORN_MEMORY_;
    if (_datagram_size != 0) {
        if (token.alloc_data(_datagram_size) != 0) {
            token.free_header();
            return VORN_ERR_EMPTY_VORN_MEMORY_;
        }
        std::memcpy(token.get_data(), _datagram_data_, _datagram_size);
    }
    Packet* const pkt = token.get_header_packet();
    pkt->initialize_packet(c_loopback_ip, std::chrono::steady_clock::now(), c_no_limit);
    pkt->initialize_header(_datagram_size, _op->get_msg_num(), EMsg::datagram, code, VORN_ERR_NONE_);
    const Port port = _op->get_port();
    pkt->set_to_proxy(Addr(_ip, port), Addr(c_loopback_ip, port));
    // One that could not leave is not reported.
    if (send_udp(token, pkt) != 0) token.free();
    return VORN_ERR_NONE_;
}

}  // namespace Vorn35
