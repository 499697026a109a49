#include "Vorn/SDK/Stub/Command/_Stub_command.h"

#include "Vorn/SDK/Stub/_Stub.h"
#include "Vorn/SDK/member_table.h"
#include "Vorn/counters.h"
#include "Vorn35/vorn_error.h"

namespace Vorn35 {

_Stub_command::_Stub_command(_Stub* _op_, Msg_code _code, interface_kind_t _b_interface, Stub_command* _mp)
    : _Linked_method(_op_, _code, _b_interface), mp(_mp) {
    _op->add_command(code, this);
}

void _Stub_command::leave_table() {
    _op->del_command(code);
    // A value that still waits for its turn must not call this object.
    const Lock_guard lock(connections_mutex);
    erase_all();
}

void _Stub_command::adapter_sync(Token _token) {
    cmd_link_t link;
    Sync_turns::turn_t turn = 0;
    {
        const Lock_guard lock(connections_mutex);
        const auto found = connections.find(_token.get_header_packet()->get_src());
        if (found == connections.end()) return counters::count(counters::Counter::unlinked_dropped);
        found->second->history.push(_token, history_size);
        if (!use_on_sync) return;
        // Under the same lock: the order of `on_sync` follows the history.
        link = found->second;
        turn = turns->take();
    }
    sync(_token, turn, link);
}

void _Stub_command::sync(Token _token, Sync_turns::turn_t _turn, const cmd_link_t& _link) {
    const Packet* const pkt_ = _token.get_header_packet();
    const Packet_time limit = pkt_->header.limit;
    const Sync_model sync_model = limit.is_infinite() ? on_post : on_timer;
    const auto own_turns = turns;
    const Released released;
    if (!own_turns->begin(_turn, pkt_->get_src(), _link)) return;
    mp->on_sync(pkt_->get_src(), sync_model, pkt_->packet_live_time, limit.get_time(), _token.get_data(),
                pkt_->get_data_size());
    own_turns->end();
}

void _Stub_command::wait_for_callbacks(const Addr* _client) {
    if (!turns->must_wait(_client)) return;
    const auto own_turns = turns;
    const Released released;
    own_turns->wait(_client);
}

Letter_case_ _Stub_command::see_history(Addr _client, std::size_t _size) {
    if (!_op->is_created()) return nullptr;
    const Lock_guard lock(connections_mutex);
    const auto found = connections.find(_client);
    return found == connections.end() ? new Letter_case : found->second->history.snapshot(_size);
}

Error _Stub_command::ask_application(const Packet* _request) {
    return mp->on_link(_request->get_src(), _request->packet_live_time, _request->packet_limit_time);
}

void _Stub_command::tell_application(Addr _client, Error _error) {
    mp->on_unlink(_client, _error);
}

std::vector<Addr> _Stub_command::linked() const {
    std::vector<Addr> clients;
    for (const auto& [client, record] : connections) clients.push_back(client);
    return clients;
}

EMsg _Stub_command::disconnect_type(Addr _client) const {
    return connections.contains(_client) ? EMsg::command_disconnect : EMsg::null;
}

bool _Stub_command::enter(const Packet* _request) {
    cmd_link_t& link = connections[_request->get_src()];
    if (link != nullptr) return false;
    link = std::make_shared<struct_cmd_obj_map_data>();
    return true;
}

void _Stub_command::erase(Addr _client) {
    const auto found = connections.find(_client);
    if (found == connections.end()) return;
    turns->end_link(found->second);
    found->second->history.clear();
    connections.erase(found);
}

/// Deliberately leaves the blocks of the history allocated. Every other end of a link frees them.
void _Stub_command::lose(Addr _client) {
    connections.at(_client)->history.abandon();
    erase(_client);
}

void _Stub_command::erase_all() {
    for (const auto& [client, link] : connections) {
        turns->end_link(link);
        link->history.clear();
    }
    connections.clear();
}

void _Stub::adapter_command_connect(Token _token) {
    _Stub_command* const command = find_member(commands, _token.get_header_packet()->header.code);
    command != nullptr ? command->adapter_connect(_token) : adapter_err_return(_token);
}

void _Stub::adapter_command_shutdown(Token _token) {
    _Stub_command* const command = find_member(commands, _token.get_header_packet()->header.code);
    if (command != nullptr) command->adapter_shutdown(_token);
}

void _Stub::adapter_command_sync(Token _token) {
    _Stub_command* const command = find_member(commands, _token.get_header_packet()->header.code);
    if (command != nullptr) command->adapter_sync(_token);
}

void _Stub::shutdown_commands(Addr _client, Token _token) {
    for_each_member(commands, [&](_Stub_command* _command) { _command->adapter_shutdown(_client, _token); });
}

void _Stub::release_commands() {
    for (const auto& [code, command] : commands) command->disconnect_all_client_object(false);
}

}  // namespace Vorn35
