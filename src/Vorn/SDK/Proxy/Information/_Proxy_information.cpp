#include "Vorn/SDK/Proxy/Information/_Proxy_information.h"

#include <algorithm>

#include "Vorn/INet_Relay/inet_relay.h"
#include "Vorn/SDK/Proxy/_Proxy.h"
#include "Vorn/SDK/member_table.h"
#include "Vorn/SDK/multicast_group.h"
#include "Vorn/Vorn_processor/Vorn_processor.h"
#include "Vorn/counters.h"
#include "Vorn/options.h"

namespace Vorn35 {

_Proxy_information::_Proxy_information(_Proxy* _pp_, Msg_code _code, interface_kind_t _b_interface,
                                       Proxy_information* _mp)
    : _Linking_method(_pp_, _code, _b_interface), mp(_mp) {
    _pp->add_information(code, this);
}

void _Proxy_information::leave_table() {
    _pp->del_information(code);
}

bool _Proxy_information::is_confirm(EMsg _type) const {
    return _type == EMsg::information_tcp_confirm || _type == EMsg::information_udp_confirm;
}

void _Proxy_information::take_answer(const Packet* _answer, bool _waited) {
    if (_waited) mct_if = _answer->get_mct_if();
    // A waiter may come here after the end of the relay, too.
    if (is_of_the_past(_answer)) return;
    switch (_answer->get_msg_type()) {
        case EMsg::information_tcp_confirm:
        case EMsg::delegate_information_tcp_confirm:
            tcp_confirm = true;
            break;
        case EMsg::information_udp_confirm:
        case EMsg::delegate_information_udp_confirm: {
            tcp_confirm = false;
            const Addr service = _pp->get_stub_addr();
            add_membership(multicast_group(service.port, code), _answer->get_mct_if(), service.ip, service.port);
            break;
        }
        default:
            break;
    }
}

void _Proxy_information::drop_membership() {
    // Outside the tables there is no socket that could be a member.
    if (!_pp->is_tabled()) return;
    const Addr service = _pp->get_stub_addr();
    Vorn35::drop_membership(multicast_group(service.port, code), mct_if, service.ip, service.port);
}

EMsg _Proxy_information::shutdown_type() const {
    return tcp_confirm ? EMsg::information_tcp_shutdown : EMsg::information_udp_shutdown;
}

void _Proxy_information::begin_link() {
    const Lock_guard lock(information_mutex);
    connect_state = true;
    for (Token& value : early) enter_early(&value);
}

void _Proxy_information::enter_early(Token* _value_) {
    // Those of the other form are dropped when they return from the pipe.
    if (!is_of_this_form(*_value_)) return;
    history.push(*_value_, history_size);
    _value_->ref_header();
    entered.push_back(Token{_value_->header_mm, 0});
}

void _Proxy_information::link_has_begun() {
    for (;;) {
        Token value;
        {
            const Lock_guard lock(information_mutex);
            if (early.empty()) return;
            value = early.front();
            early.pop_front();
        }
        if (gp_processor == nullptr || gp_processor->apply_process(value) != 0) value.free();
    }
}

bool _Proxy_information::hold_early(Token _token) {
    constexpr std::size_t most = 16;
    if (!g_options.current_values || !is_asking() || early.size() == most) return false;
    // A header of its own: the listener is not done with the other one.
    Token copy;
    copy.alloc_header_force();
    *copy.get_header_packet() = *_token.get_header_packet();
    copy.get_header_packet()->set_window(0);
    safe_add_ref_mm(_token.data_mm);
    copy.data_mm = _token.data_mm;
    if (connect_state) enter_early(&copy);
    early.push_back(copy);
    return true;
}

bool _Proxy_information::was_entered(Token _token) {
    const auto found = std::ranges::find(entered, _token.header_mm, &Token::header_mm);
    if (found == entered.end()) return false;
    found->free();
    entered.erase(found);
    return true;
}

bool _Proxy_information::end_link() {
    const Lock_guard lock(information_mutex);
    history.clear();
    for (; !entered.empty(); entered.pop_back()) entered.back().free();
    for (; !early.empty(); early.pop_front()) early.front().free();
    return connect_state.exchange(false);
}

void _Proxy_information::adapter_disconnect(Token _token) {
    if (is_late_loss(_token.get_header_packet())) return;
    drop_membership();
    _Linking_method::adapter_disconnect(_token);
}

bool _Proxy_information::is_of_this_form(Token _value) const {
    return (_value.get_header_packet()->get_msg_type() == EMsg::information_tcp) == tcp_confirm;
}

void _Proxy_information::adapter_sync(Token _token) {
    {
        const Lock_guard lock(information_mutex);
        const bool is_history = was_entered(_token);
        if (!is_history && hold_early(_token)) return;
        // Late values of a link of the other form stay out.
        if (!connect_state || !is_of_this_form(_token)) return counters::count(counters::Counter::unlinked_dropped);
        if (!is_history) history.push(_token, history_size);
    }
    if (use_on_sync) sync(_token);
}

void _Proxy_information::sync(Token _token) {
    const Packet* const pkt = _token.get_header_packet();
    const Packet_time limit = pkt->header.limit;
    const Sync_model sender_sync_model = limit.is_infinite() ? on_post : on_timer;
    const Released released;
    mp->on_sync(sender_sync_model, pkt->packet_live_time, limit.get_time(), _token.get_data(), pkt->get_data_size());
}

Letter_case_ _Proxy_information::see_history(std::size_t _size) {
    if (!_pp->is_created() || !connect_state) return nullptr;
    const Lock_guard lock(information_mutex);
    return history.snapshot(_size);
}

void _Proxy::adapter_information(Token _token) {
    _Proxy_information* const information = find_member(informations, _token.get_header_packet()->header.code);
    if (information != nullptr) information->adapter_sync(_token);
}

void _Proxy::adapter_information_on_link(Token _token) {
    _Proxy_information* const information = find_member(informations, _token.get_header_packet()->header.code);
    if (information != nullptr) information->adapter_delegate_on_link(_token);
}

void _Proxy::adapter_information_disconnect(Token _token) {
    _Proxy_information* const information = find_member(informations, _token.get_header_packet()->header.code);
    if (information != nullptr) information->adapter_disconnect(_token);
}

void _Proxy::disconnect_informations(Token _token) {
    for_each_member(informations, [&](_Proxy_information* _information) { _information->adapter_disconnect(_token); });
}

void _Proxy::release_informations() {
    for (const auto& [code, information] : informations) information->disconnect(false);
}

}  // namespace Vorn35
