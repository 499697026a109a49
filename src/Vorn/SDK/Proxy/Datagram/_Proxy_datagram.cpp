#include "Vorn/SDK/Proxy/Datagram/_Proxy_datagram.h"

#include "Vorn/SDK/Proxy/_Proxy.h"
#include "Vorn/SDK/member_table.h"

namespace Vorn35 {

_Proxy_datagram::_Proxy_datagram(_Proxy* _pp_, Msg_code _code, interface_kind_t _b_interface, Proxy_datagram* _mp)
    : _Proxy_method(_pp_, _code, _b_interface), mp(_mp) {
    _pp->add_datagram(code, this);
}

void _Proxy_datagram::leave_table() {
    _pp->del_datagram(code);
}

void _Proxy_datagram::adapter_datagram(Token _token) {
    const Packet* const pkt = _token.get_header_packet();
    const Released released;
    mp->on_datagram(pkt->get_src(), _token.get_data(), pkt->get_data_size(), pkt->packet_live_time);
}

void _Proxy::adapter_datagram(Token _token) {
    _Proxy_datagram* const datagram = find_member(datagrams, _token.get_header_packet()->header.code);
    if (datagram != nullptr) datagram->adapter_datagram(_token);
}

}  // namespace Vorn35
