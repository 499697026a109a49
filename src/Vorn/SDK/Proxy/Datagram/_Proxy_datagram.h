/// @file
#pragma once

#include "Vorn/SDK/Proxy/_Proxy_method.h"
#include "Vorn35/Proxy_datagram.h"

namespace Vorn35 {

/// Receiver of datagrams.
class _Proxy_datagram : public _Proxy_method {
public:
    _Proxy_datagram(_Proxy* _pp_, Msg_code _code, interface_kind_t _b_interface, Proxy_datagram* _mp);
    /// The owner is being destroyed: leaves its table.
    void leave_table();

    /// On a listener with `mutex_01` shared.
    void adapter_datagram(Token _token);

private:
    Proxy_datagram* const mp;
};

}  // namespace Vorn35
