/// @file
#pragma once

#include "Vorn/SDK/Stub/_vorn_method.h"
#include "Vorn35/Stub_signal.h"

namespace Vorn35 {

/// Service side of a signal. The two adapters run on a listener with `mutex_01` shared.
class _Stub_signal : public _vorn_method {
public:
    _Stub_signal(_Stub* _op_, Msg_code _code, interface_kind_t _b_interface, on_signal_sync_t* _on_signal_sync__,
                 Stub_signal* _mp);
    /// The owner is being destroyed: leaves its table.
    void leave_table();

    void adapter_signal(Token _token);
    void adapter_signal_cancel(Token _token);

private:
    /// Answers a signal. Not 0: the answer did not leave.
    Error signal_return(Token _token, Error _error);

    on_signal_sync_t* const on_signal_sync__;  ///< May be null. Runs under `mutex_01`.
    Stub_signal* const mp;
};

}  // namespace Vorn35
