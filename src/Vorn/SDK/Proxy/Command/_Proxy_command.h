/// @file
#pragma once

#include "Vorn/SDK/Proxy/link.h"
#include "Vorn/SDK/value_buffer.h"
#include "Vorn35/Proxy_command.h"

namespace Vorn35 {

/// Client side of a command.
class _Proxy_command final : public _Linking_method, public Value_buffer {
public:
    _Proxy_command(_Proxy* _pp_, Msg_code _code, interface_kind_t _b_interface, Proxy_command* _mp);
    /// The owner is being destroyed: leaves its table.
    void leave_table();

    Error post(Pksize _size) override;

    /// Values are of the kind that a connection which is behind drops. By TCP they go in any case.
    std::atomic<bool> using_udp{false};

private:
    void tell_link(Msg_num _msg_num, Error _err, double _time) override { mp->on_link(_msg_num, _err, _time); }
    void tell_unlink(Error _err) override { mp->on_unlink(_err); }
    bool is_confirm(EMsg _type) const override { return _type == EMsg::command_confirm; }
    EMsg shutdown_type() const override { return EMsg::command_shutdown; }

    bool owner_is_created() const override;
    void address_value(Packet* _pkt, Pksize _size) override;
    bool has_receiver() const override { return connect_state; }
    Error send_value(mm_t _value_mm, double _limit) override;

    Proxy_command* const mp;
};

}  // namespace Vorn35
