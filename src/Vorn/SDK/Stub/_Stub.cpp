#include "Vorn/SDK/Stub/_Stub.h"

#include <algorithm>
#include <iterator>

#include "Vorn/INet_Relay/inet_relay.h"
#include "Vorn/SDK/member_table.h"
#include "Vorn/counters.h"
#include "Vorn/options.h"
#include "Vorn35/vorn_error.h"

namespace Vorn35 {

_Stub::_Stub(Stub* _op_) : op(_op_), destroy_thread_id(std::this_thread::get_id()) {}

Error _Stub::create(const char* _name_, Port* _port_) {
    if (is_created()) return VORN_ERR_ALREADY_CREATED_;
    if (gp_processor == nullptr) {
        destroy_thread_id = std::this_thread::get_id();
        return VORN_ERR_NOT_INITIALIZE_;
    }
    if (const Error failure = gp_processor->create_stub(_name_, _port_, op); failure != 0) return failure;
    port = *_port_;
    regist();
    destroy_thread_id = std::thread::id();
    return VORN_ERR_NONE_;
}

Error _Stub::destroy() {
    if (!is_created()) return VORN_ERR_IS_NOT_CREATED_;
    if (gp_processor->is_listen_thread()) {
        destroy_thread_id = std::this_thread::get_id();
        const Lock_guard lock(gp_processor->destroy_vect_mutex);
        gp_processor->destroy_vect.push_back(op);
    } else {
        destroy_force();
    }
    return VORN_ERR_NONE_;
}

void _Stub::destroy_force() {
    gp_processor->destroy_stub(port);
    unregist();
    drop_state();
}

void _Stub::withdraw() {
    if (gp_processor != nullptr) {
        if (is_created()) destroy_force();
        gp_processor->forget_stub(op);
    }
    drop_state();
}

void _Stub::drop_state() {
    release_events();
    release_commands();
    release_informations();
    port = 0;
    destroy_thread_id = std::this_thread::get_id();
}

/// Each control code has its own group, and each member of an ordered kind its own serial key.
template <class Group, class Alone>
void _Stub::walk_ordered(Group _group, Alone _alone) const {
    for (const Msg_code code : c_control_codes) _group(Msg_addr(port, code, c_no_transaction));
    for_each_code(calls, [&](Msg_code _code) { _alone(Msg_addr(port, _code, c_call_transaction)); });
    for_each_code(signals, [&](Msg_code _code) { _alone(Msg_addr(port, _code, c_signal_transaction)); });
    for_each_code(events, [&](Msg_code _code) { _alone(Msg_addr(port, _code, c_event_transaction)); });
    for_each_code(commands, [&](Msg_code _code) { _alone(Msg_addr(port, _code, c_command_transaction)); });
    for_each_code(informations, [&](Msg_code _code) { _alone(Msg_addr(port, _code, c_information_transaction)); });
}

void _Stub::regist() {
    if (g_options.keep_notices) {
        // Ahead of the walk, which would give each a queue of its own.
        const Msg_addr lost(port, c_tcp_disconnected_from_client, c_no_transaction);
        gp_processor->msg_processing_by_serial_group(Msg_addr(port, c_tcp_connected_from_client, c_no_transaction),
                                                     lost);
    }
    walk_ordered(
        [this](Msg_addr _addr) {
            gp_processor->msg_processing_by_serial_group(_addr, _addr);
            declared.insert(_addr);
        },
        [this](Msg_addr _addr) {
            gp_processor->msg_processing_by_serial_alone(_addr);
            declared.insert(_addr);
        });
}

void _Stub::unregist() {
    std::vector<Msg_addr> keys;
    const auto collect = [&keys](Msg_addr _addr) { keys.push_back(_addr); };
    walk_ordered(collect, collect);
    // The walk does not see members that were destroyed before their started `Stub`.
    std::ranges::copy_if(declared, std::back_inserter(keys), [this](Msg_addr _addr) { return _addr.port == port; });
    make_parallel(keys);
}

void _Stub::make_parallel(const std::vector<Msg_addr>& _keys) {
    for (const Msg_addr key : _keys) {
        gp_processor->msg_processing_by_parallel(key);
        declared.erase(key);
    }
}

void _Stub::forget_order() {
    make_parallel({declared.begin(), declared.end()});
}

Msg_num _Stub::get_msg_num() {
    const Lock_guard lock(seq_num_mutex);
    return ++seq_num;
}

Error _Stub::send(Token _token) {
    Packet* const pkt = _token.get_header_packet();
    return send_tcp_server(pkt->get_dst(), _token, pkt);
}

Error _Stub::send_kept(Token _token) {
    Packet* const pkt = _token.get_header_packet();
    return send_tcp_server_kept(pkt->get_dst(), _token, pkt);
}

void _Stub::add_call(Msg_code _code, _Stub_call* _call) {
    add_member(&calls, _code, _call);
}
void _Stub::del_call(Msg_code _code) {
    del_member(&calls, _code);
}
void _Stub::add_signal(Msg_code _code, _Stub_signal* _signal) {
    add_member(&signals, _code, _signal);
}
void _Stub::del_signal(Msg_code _code) {
    del_member(&signals, _code);
}
void _Stub::add_event(Msg_code _code, _Stub_event* _event) {
    add_member(&events, _code, _event);
}
void _Stub::del_event(Msg_code _code) {
    del_member(&events, _code);
}
void _Stub::add_information(Msg_code _code, _Stub_information* _information) {
    add_member(&informations, _code, _information);
}
void _Stub::del_information(Msg_code _code) {
    del_member(&informations, _code);
}
void _Stub::add_command(Msg_code _code, _Stub_command* _command) {
    add_member(&commands, _code, _command);
}
void _Stub::del_command(Msg_code _code) {
    del_member(&commands, _code);
}
void _Stub::add_datagram(Msg_code _code, _Stub_datagram* _datagram) {
    add_member(&datagrams, _code, _datagram);
}
void _Stub::del_datagram(Msg_code _code) {
    del_member(&datagrams, _code);
}

/// Looks back by one message, over all clients and members: a repeat has the number (not 0), source host, type and code of the
/// message before it, and the port with `Runtime_options::repeat_by_port`. The comparison and the store deliberately take the lock separately: two messages that arrive together may
/// pass each other here, and both run.
bool _Stub::is_repeat(const Packet* _pkt) {
    const Header& header = _pkt->header;
    {
        const Lock_guard lock(last_seq_num_mutex);
        if (header.num != 0 && header.num == last_seq_num && _pkt->src_ip == last_ip &&
            header.type == last_transaction && header.code == last_code &&
            (!g_options.repeat_by_port || _pkt->src_port == last_port)) {
            counters::count(counters::Counter::requests_repeated);
            return true;
        }
    }
    const Lock_guard lock(last_seq_num_mutex);
    last_seq_num = header.num;
    last_ip = _pkt->src_ip;
    last_port = _pkt->src_port;
    last_code = header.code;
    last_transaction = header.type;
    return false;
}

void _Stub::adapter_stub(Token _token) {
    const Packet* const pkt = _token.get_header_packet();
    if (is_repeat(pkt)) return;
    switch (pkt->get_msg_type()) {
        case EMsg::signal:
        case EMsg::delegate_signal:
            return adapter_signal(_token);
        case EMsg::signal_cancel:
        case EMsg::delegate_signal_cancel:
            return adapter_signal_cancel(_token);
        case EMsg::call:
        case EMsg::delegate_call:
            return adapter_call(_token);
        case EMsg::call_cancel:
        case EMsg::delegate_call_cancel:
            return adapter_call_cancel(_token);
        case EMsg::event_connect:
        case EMsg::delegate_event_connect:
            return adapter_event_connect(_token);
        case EMsg::event_shutdown:
        case EMsg::delegate_event_shutdown:
            return adapter_event_shutdown(_token);
        case EMsg::command_connect:
        case EMsg::delegate_command_connect:
            return adapter_command_connect(_token);
        case EMsg::command_shutdown:
        case EMsg::delegate_command_shutdown:
            return adapter_command_shutdown(_token);
        case EMsg::command_tcp:
        case EMsg::command_udp:
            return adapter_command_sync(_token);
        case EMsg::information_tcp_connect:
        case EMsg::delegate_information_tcp_connect:
        case EMsg::information_udp_connect:
        case EMsg::delegate_information_udp_connect:
            return adapter_information_connect(_token);
        case EMsg::information_tcp_shutdown:
        case EMsg::delegate_information_tcp_shutdown:
        case EMsg::information_udp_shutdown:
        case EMsg::delegate_information_udp_shutdown:
            return adapter_information_shutdown(_token);
        default:
            return adapter_ctrl(_token);
    }
}

void _Stub::adapter_err_return(Token _token) {
    Token answer;
    answer.alloc_header_force();
    Packet* const pkt = answer.get_header_packet();
    *pkt = *_token.get_header_packet();
    pkt->backward_error_switch(VORN_ERR_NOT_SUPPORT_CODE_);
    if (send_tcp_server(pkt->get_dst(), answer, pkt) != 0) answer.free();
}

/// Without `keep_notices` the two notices of one client may run at once or in reverse order: each code has its own queue.
void _Stub::adapter_ctrl(Token _token) {
    if (_token.get_header_packet()->header.code == c_tcp_connected_from_client) {
        adapter_tcp_connected_from_client(_token);
    } else {
        adapter_tcp_disconnected_from_client(_token);
    }
}

void _Stub::adapter_tcp_connected_from_client(Token _token) {
    const Addr client = _token.get_header_packet()->get_src();
    const Released released;
    op->on_connect(client);
}

void _Stub::adapter_tcp_disconnected_from_client(Token _token) {
    const Addr client = _token.get_header_packet()->get_src();
    adapter_object_destroyed(_token);
    const Released released;
    op->on_disconnect(client);
}

void _Stub::adapter_object_destroyed(Token _token) {
    const Addr client = _token.get_header_packet()->get_src();
    shutdown_events(client, _token);
    shutdown_commands(client, _token);
    shutdown_informations(client, _token);
}

}  // namespace Vorn35
