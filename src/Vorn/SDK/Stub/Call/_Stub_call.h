/// @file
#pragma once

#include "Vorn/SDK/Stub/_vorn_method.h"
#include "Vorn35/Stub_call.h"

namespace Vorn35 {

/// Service side of a call. The two adapters run on a listener with `mutex_01` shared.
class _Stub_call : public _vorn_method {
public:
    _Stub_call(_Stub* _op_, Msg_code _code, interface_kind_t _b_interface, Pksize _max_return_size, Stub_call* _mp);
    /// The owner is being destroyed: leaves its table.
    void leave_table();

    void adapter_call(Token _token);
    void adapter_call_cancel(Token _token);

    /// See `Stub_call::answer_block`.
    static void* answer_block(Pksize _size);

private:
    const Pksize max_return_size;  ///< Size of the block that every return may fill; 0: there is no block.
    Stub_call* const mp;
};

}  // namespace Vorn35
