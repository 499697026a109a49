/// @file
#pragma once

#include "Vorn/SDK/Proxy/link.h"
#include "Vorn35/Proxy_event.h"

namespace Vorn35 {

/// Client side of an event.
class _Proxy_event final : public _Linking_method {
public:
    _Proxy_event(_Proxy* _pp_, Msg_code _code, interface_kind_t _b_interface, Proxy_event* _mp);
    /// The owner is being destroyed: leaves its table.
    void leave_table();

    /// On a listener with `mutex_01` shared.
    void adapter_event(Token _token);

private:
    void tell_link(Msg_num _msg_num, Error _err, double _time) override { mp->on_link(_msg_num, _err, _time); }
    void tell_unlink(Error _err) override { mp->on_unlink(_err); }
    bool is_confirm(EMsg _type) const override { return _type == EMsg::event_confirm; }
    EMsg shutdown_type() const override { return EMsg::event_shutdown; }

    Proxy_event* const mp;
};

}  // namespace Vorn35
