#include "Vorn/SDK/Proxy/Call/_Proxy_call.h"

#include "Vorn/SDK/Proxy/_Proxy.h"
#include "Vorn/SDK/member_table.h"

namespace Vorn35 {

_Proxy_call::_Proxy_call(_Proxy* _pp_, Msg_code _code, interface_kind_t _b_interface, Proxy_call* _mp)
    : _Proxy_method(_pp_, _code, _b_interface), mp(_mp) {
    _pp->add_call(code, this);
}

void _Proxy_call::leave_table() {
    _pp->del_call(code);
}

void _Proxy_call::adapter_delegate_call_return(Token _token) {
    Packet* const pkt = _token.get_header_packet();
    pkt->update_packet_time_and_return_timeout();
    const Released released;
    mp->on_return(pkt->header.num, pkt->header.error, _token.get_data(), pkt->get_data_size(), pkt->packet_live_time);
}

void _Proxy::adapter_delegate_call_return(Token _token) {
    _Proxy_call* const call = find_member(calls, _token.get_header_packet()->header.code);
    if (call != nullptr) call->adapter_delegate_call_return(_token);
}

}  // namespace Vorn35
