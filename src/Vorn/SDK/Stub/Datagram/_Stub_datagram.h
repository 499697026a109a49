/// @file
#pragma once

#include "Vorn/SDK/Stub/_vorn_method.h"
#include "Vorn35/Stub_datagram.h"

namespace Vorn35 {

/// Sender of datagrams. Nothing comes in for it, so it calls nothing of the application.
class _Stub_datagram : public _vorn_method {
public:
    _Stub_datagram(_Stub* _op_, Msg_code _code, interface_kind_t _b_interface);
    /// The owner is being destroyed: leaves its table.
    void leave_table();

    /// `mutex_01` shared.
    Error cast(IP _ip, const void* _datagram_data_, Pksize _datagram_size);
};

}  // namespace Vorn35
