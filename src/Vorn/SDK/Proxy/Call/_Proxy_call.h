/// @file
#pragma once

#include "Vorn/SDK/Proxy/_Proxy_method.h"
#include "Vorn35/Proxy_call.h"

namespace Vorn35 {

/// Client side of a call. Its only state is the code: the return table holds outstanding requests.
class _Proxy_call : public _Proxy_method {
public:
    _Proxy_call(_Proxy* _pp_, Msg_code _code, interface_kind_t _b_interface, Proxy_call* _mp);
    /// The owner is being destroyed: leaves its table.
    void leave_table();

    /// On a listener with `mutex_01` shared.
    void adapter_delegate_call_return(Token _token);

private:
    Proxy_call* const mp;
};

}  // namespace Vorn35
