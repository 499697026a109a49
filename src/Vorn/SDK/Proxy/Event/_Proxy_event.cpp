#include "Vorn/SDK/Proxy/Event/_Proxy_event.h"

#include "Vorn/SDK/Proxy/_Proxy.h"
#include "Vorn/SDK/member_table.h"
#include "Vorn/counters.h"

namespace Vorn35 {

_Proxy_event::_Proxy_event(_Proxy* _pp_, Msg_code _code, interface_kind_t _b_interface, Proxy_event* _mp)
    : _Linking_method(_pp_, _code, _b_interface), mp(_mp) {
    _pp->add_event(code, this);
}

void _Proxy_event::leave_table() {
    _pp->del_event(code);
}

void _Proxy_event::adapter_event(Token _token) {
    if (!connect_state) return counters::count(counters::Counter::unlinked_dropped);
    Packet* const pkt = _token.get_header_packet();
    pkt->update_packet_time_and_return_timeout();
    const Released released;
    mp->on_event(_token.get_data(), pkt->get_data_size(), pkt->packet_live_time);
}

void _Proxy::adapter_event(Token _token) {
    _Proxy_event* const event = find_member(events, _token.get_header_packet()->header.code);
    if (event != nullptr) event->adapter_event(_token);
}

void _Proxy::adapter_event_on_link(Token _token) {
    _Proxy_event* const event = find_member(events, _token.get_header_packet()->header.code);
    if (event != nullptr) event->adapter_delegate_on_link(_token);
}

void _Proxy::adapter_event_disconnect(Token _token) {
    _Proxy_event* const event = find_member(events, _token.get_header_packet()->header.code);
    if (event != nullptr) event->adapter_disconnect(_token);
}

void _Proxy::disconnect_events(Token _token) {
    for_each_member(events, [&](_Proxy_event* _event) { _event->adapter_disconnect(_token); });
}

void _Proxy::release_events() {
    for (const auto& [code, event] : events) event->disconnect(false);
}

}  // namespace Vorn35
