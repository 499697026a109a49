#include "Vorn/SDK/Proxy/Command/_Proxy_command.h"

#include "Vorn/SDK/Proxy/_Proxy.h"
#include "Vorn/SDK/member_table.h"
#include "Vorn35/vorn_error.h"

namespace Vorn35 {

_Proxy_command::_Proxy_command(_Proxy* _pp_, Msg_code _code, interface_kind_t _b_interface, Proxy_command* _mp)
    : _Linking_method(_pp_, _code, _b_interface), mp(_mp) {
    _pp->add_command(code, this);
}

void _Proxy_command::leave_table() {
    end_timer();
    _pp->del_command(code);
}

/// The value has become current; whether it could be sent is a separate matter.
Error _Proxy_command::post(Pksize _size) {
    const Shared_hold hold;
    if (const Error failure = accept(_size); failure != 0) return failure;
    if (syncs_at_post()) sync(on_post);
    return VORN_ERR_NONE_;
}

bool _Proxy_command::owner_is_created() const {
    return _pp->is_created();
}

void _Proxy_command::address_value(Packet* _pkt, Pksize _size) {
    _pkt->initialize_header(_size, 0, EMsg::command_tcp, code, VORN_ERR_NONE_);
}

Error _Proxy_command::send_value(mm_t _value_mm, double _limit) {
    const bool droppable = using_udp;
    Token token;
    if (!droppable) {
        token.alloc_header_force();
    } else if (const Error failure = token.alloc_header(); failure != 0) {
        return failure;
    }
    dress(&token, _value_mm, droppable ? EMsg::command_udp : EMsg::command_tcp, c_loopback_ip, _limit);
    const Error sent = _pp->send(token);
    if (sent != 0) token.free();
    return sent;
}

void _Proxy::adapter_command_on_link(Token _token) {
    _Proxy_command* const command = find_member(commands, _token.get_header_packet()->header.code);
    if (command != nullptr) command->adapter_delegate_on_link(_token);
}

void _Proxy::adapter_command_disconnect(Token _token) {
    _Proxy_command* const command = find_member(commands, _token.get_header_packet()->header.code);
    if (command != nullptr) command->adapter_disconnect(_token);
}

void _Proxy::disconnect_commands(Token _token) {
    for_each_member(commands, [&](_Proxy_command* _command) { _command->adapter_disconnect(_token); });
}

void _Proxy::release_commands() {
    for (const auto& [code, command] : commands) {
        command->disconnect(false);
        command->release_values();
    }
}

}  // namespace Vorn35
