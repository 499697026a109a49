#include "Vorn/SDK/Stub/Event/_Stub_event.h"

#include <cstring>

#include "Vorn/INet_Relay/inet_relay.h"
#include "Vorn/SDK/Stub/_Stub.h"
#include "Vorn/SDK/member_table.h"
#include "Vorn35/vorn_error.h"

namespace Vorn35 {

_Stub_event::_Stub_event(_Stub* _op_, Msg_code _code, interface_kind_t _b_interface, Stub_event* _mp)
    : _Linked_method(_op_, _code, _b_interface), mp(_mp) {
    _op->add_event(code, this);
}

void _Stub_event::leave_table() {
    _op->del_event(code);
}

Error _Stub_event::event(const void* _buffer_, Pksize _size) {
    const ks_clock_t now = std::chrono::steady_clock::now();
    if (!_op->is_created()) return VORN_ERR_IS_NOT_CREATED_;
    mm_t data_mm = 0;
    if (_size != 0) {
        if (eproc_alloc_data(&data_mm, _size) != 0) return VORN_ERR_EMPTY_VORN_MEMORY_;
        std::memcpy(get_data(data_mm), _buffer_, _size);
    }
    {
        const Wakeup_coalescing coalescing;
        const Lock_guard lock(connections_mutex);
        for (const Addr client : connections) send_to(client, EMsg::event, now, _size, data_mm);
    }
    safe_free_mm(&data_mm);
    return VORN_ERR_NONE_;
}

Error _Stub_event::ask_application(const Packet* _request) {
    return mp->on_link(_request->get_src(), _request->packet_live_time, _request->packet_limit_time);
}

void _Stub_event::tell_application(Addr _client, Error _error) {
    mp->on_unlink(_client, _error);
}

EMsg _Stub_event::disconnect_type(Addr _client) const {
    return connections.contains(_client) ? EMsg::event_disconnect : EMsg::null;
}

void _Stub::adapter_event_connect(Token _token) {
    _Stub_event* const event = find_member(events, _token.get_header_packet()->header.code);
    event != nullptr ? event->adapter_connect(_token) : adapter_err_return(_token);
}

void _Stub::adapter_event_shutdown(Token _token) {
    _Stub_event* const event = find_member(events, _token.get_header_packet()->header.code);
    if (event != nullptr) event->adapter_shutdown(_token);
}

void _Stub::shutdown_events(Addr _client, Token _token) {
    for_each_member(events, [&](_Stub_event* _event) { _event->adapter_shutdown(_client, _token); });
}

void _Stub::release_events() {
    for (const auto& [code, event] : events) event->disconnect_all_client_object(false);
}

}  // namespace Vorn35
