#include "Vorn/SDK/Proxy/_Proxy.h"

#include <algorithm>
#include <utility>

#include "Kestrane/_chrono.h"
#include "Vorn/INet_Relay/inet_relay.h"
#include "Vorn/SDK/Proxy/Command/_Proxy_command.h"
#include "Vorn/SDK/Proxy/Event/_Proxy_event.h"
#include "Vorn/SDK/Proxy/Information/_Proxy_information.h"
#include "Vorn/SDK/member_table.h"
#include "Vorn35/vorn_error.h"

namespace Vorn35 {

namespace {

/// The time at which this process made the message. `update_packet_time_and_return_timeout` moves the arrival clock and the
/// live time by the same span, so their difference stays that time.
ks_clock_t made_at(const Packet* _pkt) {
    return _pkt->arrival_cpu_clock_counter - Kestrane::to_duration(_pkt->packet_live_time);
}

}  // namespace

_Proxy::_Proxy(Proxy* _pp_) : pp(_pp_), destroy_thread_id(std::this_thread::get_id()) {}

Error _Proxy::create(Addr _stub_addr) {
    if (gp_processor == nullptr) return VORN_ERR_NOT_INITIALIZE_;
    if (is_created()) return VORN_ERR_ALREADY_CREATED_;
    stub_addr = _stub_addr;
    {
        const Lock_guard lock(connection_mutex);
        connected_clk = std::chrono::steady_clock::now();
        lost_clk = ks_clock_t{};
        next_connection = Connection{};
    }
    if (const Error failure = gp_processor->create_proxy(_stub_addr, pp); failure != 0) return failure;
    destroy_thread_id = std::thread::id();
    return VORN_ERR_NONE_;
}

Error _Proxy::destroy() {
    Error result = VORN_ERR_NONE_;
    if (!is_created()) {
        result = VORN_ERR_IS_NOT_CREATED_;
    } else if (!gp_processor->is_listen_thread()) {
        destroy_force();
    } else {
        destroy_thread_id = std::this_thread::get_id();
        const Lock_guard lock(gp_processor->destroy_vect_mutex);
        gp_processor->destroy_proxy_vect.push_back(pp);
    }
    live_state = false;
    return result;
}

void _Proxy::destroy_force() {
    gp_processor->destroy_proxy(stub_addr);
    unregist();
    drop_state();
}

void _Proxy::withdraw() {
    if (gp_processor != nullptr) {
        if (is_created()) destroy_force();
        gp_processor->forget_proxy(pp);
    }
    drop_state();
}

void _Proxy::drop_state() {
    release_events();
    release_commands();
    release_informations();
    live_state = false;
    stub_addr = Addr();
    destroy_thread_id = std::this_thread::get_id();
}

Msg_num _Proxy::get_msg_num() {
    const Lock_guard lock(seq_num_mutex);
    return ++seq_num;
}

Error _Proxy::send(Token _token) {
    Packet* const pkt = _token.get_header_packet();
    const Addr service = stub_addr;
    // The source does not travel, and `send_tcp_client` writes the gate port.
    pkt->set_to_stub(Addr(c_loopback_ip, 0), service);
    return send_tcp_client(service, _token, pkt);
}

void _Proxy::add_call(Msg_code _code, _Proxy_call* _call) {
    add_member(&calls, _code, _call);
}
void _Proxy::del_call(Msg_code _code) {
    del_member(&calls, _code);
}
void _Proxy::add_signal(Msg_code _code, _Proxy_signal* _signal) {
    add_member(&signals, _code, _signal);
}
void _Proxy::del_signal(Msg_code _code) {
    del_member(&signals, _code);
}
void _Proxy::add_event(Msg_code _code, _Proxy_event* _event) {
    add_member(&events, _code, _event);
}
void _Proxy::del_event(Msg_code _code) {
    del_member(&events, _code);
}
void _Proxy::add_information(Msg_code _code, _Proxy_information* _information) {
    add_member(&informations, _code, _information);
}
void _Proxy::del_information(Msg_code _code) {
    del_member(&informations, _code);
}
void _Proxy::add_command(Msg_code _code, _Proxy_command* _command) {
    add_member(&commands, _code, _command);
}
void _Proxy::del_command(Msg_code _code) {
    del_member(&commands, _code);
}
void _Proxy::add_datagram(Msg_code _code, _Proxy_datagram* _datagram) {
    add_member(&datagrams, _code, _datagram);
}
void _Proxy::del_datagram(Msg_code _code) {
    del_member(&datagrams, _code);
}

void _Proxy::adapter_proxy(Token _token) {
    switch (_token.get_header_packet()->get_msg_type()) {
        case EMsg::datagram:
            return adapter_datagram(_token);
        case EMsg::delegate_signal_return:
        case EMsg::delegate_signal_error_return:
            return adapter_delegate_signal_return(_token);
        case EMsg::delegate_call_return:
        case EMsg::delegate_call_error_return:
            return adapter_delegate_call_return(_token);
        case EMsg::event_disconnect:
            return adapter_event_disconnect(_token);
        case EMsg::event:
            return adapter_event(_token);
        case EMsg::delegate_event_confirm:
        case EMsg::delegate_event_reject:
            return adapter_event_on_link(_token);
        case EMsg::command_disconnect:
            return adapter_command_disconnect(_token);
        case EMsg::delegate_command_confirm:
        case EMsg::delegate_command_reject:
            return adapter_command_on_link(_token);
        case EMsg::information_tcp_disconnect:
        case EMsg::information_udp_disconnect:
            return adapter_information_disconnect(_token);
        case EMsg::information_tcp:
        case EMsg::information_udp:
            return adapter_information(_token);
        case EMsg::delegate_information_tcp_confirm:
        case EMsg::delegate_information_tcp_reject:
        case EMsg::delegate_information_udp_confirm:
        case EMsg::delegate_information_udp_reject:
            return adapter_information_on_link(_token);
        default:
            return adapter_ctrl(_token);
    }
}

void _Proxy::adapter_ctrl(Token _token) {
    if (_token.get_header_packet()->header.code == c_tcp_connected_to_server) {
        adapter_object_create(_token);
    } else {
        adapter_object_destroy(_token);
    }
}

void _Proxy::adapter_object_create(Token _token) {
    const Packet* const pkt = _token.get_header_packet();
    came_up({made_at(pkt), pkt->get_dst()});
}

ks_clock_t _Proxy::connected_at() {
    const Lock_guard lock(connection_mutex);
    return connected_clk;
}

void _Proxy::came_up(Connection _connection) {
    ks_clock_t lost{};
    {
        const Lock_guard lock(connection_mutex);
        // A connection of before the last start, or one that is known.
        if (_connection.clk <= connected_clk) return;
        if (live_state) {
            // Waits for the loss of the connection before. If the pipe refused that notice, this connection gets no
            // `on_connect`, and the next loss ends both.
            if (_connection.clk > next_connection.clk) next_connection = _connection;
            return;
        }
        proxy_addr = _connection.local;  // first: `get_address` gives no address of an earlier connection
        live_state = true;
        connected_clk = _connection.clk;
        if (lost_clk > connected_clk) lost = lost_clk;
    }
    {
        const Released released;
        pp->on_connect();
    }
    restore_links();
    // The notice of its loss arrived first, and takes effect now.
    if (lost == ks_clock_t{}) return;
    Token loss;
    loss.alloc_header_force();
    Packet* const pkt = loss.get_header_packet();
    pkt->initialize_packet(c_loopback_ip, lost, c_no_limit);
    pkt->initialize_header(0, 0, EMsg::ctrl, c_tcp_disconnected_from_server, VORN_ERR_DISCONNECTED_TCP_);
    pkt->set_to_proxy(_connection.local, stub_addr);
    adapter_object_destroy(loss);
    loss.free();
}

void _Proxy::restore_links() {
    for (const auto& [code, event] : events) event->restore();
    for (const auto& [code, information] : informations) information->restore();
    for (const auto& [code, command] : commands) command->restore();
}

/// Any type without a case in the switch also counts as a loss; it has no time of its own.
void _Proxy::adapter_object_destroy(Token _token) {
    const Packet* const pkt = _token.get_header_packet();
    const bool told_by_relay = pkt->get_msg_type() == EMsg::ctrl && pkt->header.code == c_tcp_disconnected_from_server;
    Connection next;
    {
        const Lock_guard lock(connection_mutex);
        if (told_by_relay) {
            const ks_clock_t made = made_at(pkt);
            if (made < connected_clk) return;
            // Stored in any case: it may be the loss of a connection whose notice has not arrived yet.
            lost_clk = std::max(lost_clk, made);
        }
        if (!live_state) return;
        live_state = false;
        std::swap(next, next_connection);
    }
    // From here on another listener may run the `on_connect` of the next connection beside the callbacks of this loss.
    disconnect_events(_token);
    disconnect_informations(_token);
    disconnect_commands(_token);
    {
        const Released released;
        pp->on_disconnect();
    }
    // The notice of the next connection arrived first, and takes effect now, if that connection still exists.
    if (next.clk != ks_clock_t{} && get_gate_port_of_local(stub_addr) == next.local.port) came_up(next);
}

template <class Group, class Alone>
void _Proxy::walk_ordered(Group _group, Alone _alone) const {
    const Port port = get_stub_addr().port;
    for (const Msg_code code : c_control_codes) _group(Msg_addr(port, code, c_no_transaction));
    for_each_code(events, [&](Msg_code _code) { _alone(Msg_addr(port, _code, c_event_transaction)); });
    for_each_code(commands, [&](Msg_code _code) { _alone(Msg_addr(port, _code, c_command_transaction)); });
    for_each_code(informations, [&](Msg_code _code) { _alone(Msg_addr(port, _code, c_information_transaction)); });
    for_each_code(datagrams, [&](Msg_code _code) { _alone(Msg_addr(port, _code, c_datagram_transaction)); });
}

void _Proxy::regist() {
    walk_ordered([](Msg_addr _addr) { gp_processor->msg_processing_by_serial_group(_addr, _addr); },
                 [](Msg_addr _addr) { gp_processor->msg_processing_by_serial_alone(_addr); });
}

/// Keys name a port and no host. A local `Stub` at the same port number keeps its keys: only those of datagrams, which
/// never go to a `Stub`, can be this client's.
void _Proxy::unregist() {
    const bool has_local_stub = gp_processor->local_stubes.contains(get_stub_addr().port);
    const auto parallel = [has_local_stub](Msg_addr _addr) {
        if (has_local_stub && _addr.transaction != c_datagram_transaction) return;
        gp_processor->msg_processing_by_parallel(_addr);
    };
    walk_ordered(parallel, parallel);
}

}  // namespace Vorn35
