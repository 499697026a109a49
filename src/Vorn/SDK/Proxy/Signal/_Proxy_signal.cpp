#include "Vorn/SDK/Proxy/Signal/_Proxy_signal.h"

#include "Vorn/SDK/Proxy/_Proxy.h"
#include "Vorn/SDK/member_table.h"

namespace Vorn35 {

_Proxy_signal::_Proxy_signal(_Proxy* _pp_, Msg_code _code, interface_kind_t _b_interface, Proxy_signal* _mp)
    : _Proxy_method(_pp_, _code, _b_interface), mp(_mp) {
    _pp->add_signal(code, this);
}

void _Proxy_signal::leave_table() {
    _pp->del_signal(code);
}

void _Proxy_signal::adapter_delegate_signal_return(Token _token) {
    Packet* const pkt = _token.get_header_packet();
    pkt->update_packet_time_and_return_timeout();
    const Released released;
    mp->on_return(pkt->header.num, pkt->header.error, pkt->packet_live_time);
}

void _Proxy::adapter_delegate_signal_return(Token _token) {
    _Proxy_signal* const signal = find_member(signals, _token.get_header_packet()->header.code);
    if (signal != nullptr) signal->adapter_delegate_signal_return(_token);
}

}  // namespace Vorn35
