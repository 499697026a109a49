/// @file
/// Client side of a signal.
#pragma once

#include "Vorn35/Promise.h"
#include "Vorn35/Proxy.h"
#include "Vorn35/vorn_export.h"

namespace Vorn35 {

class _Proxy_signal;

/// Sends a notice to a remote `Stub` and learns that it arrived. The answer carries a result and no payload,
/// and comes before the service acts on the signal.
///
/// Time limits are in seconds. The wait of `await_return` and `signal` is one timed wait with the property
/// told at `Proxy_call`: an answer that arrives before the wait has begun does not end it, and the result is
/// then "VORN_ERR_LOCAL_TIMEOUT_", although the signal was taken. `delegate_signal` has no such race.
///
/// @code
/// Vorn35::Msg_num num = 0;
/// client.delegate_signal(&num, "ring", 4, 1.0);  // `on_return` tells the rest
/// @endcode
class VORN35_API Proxy_signal : public virtual Proxy {
public:
    /// Integrated into an application class that is a `Proxy`.
    explicit Proxy_signal(Msg_code _code);
    /// Attached to an existing `Proxy`.
    Proxy_signal(Msg_code _code, const Proxy& _proxy_object);
    Proxy_signal(const Proxy_signal&) = delete;
    ~Proxy_signal() override;

    /// The answer of a `delegate_signal`; runs on a listener thread.
    /// @param _err 0, the error of the service, or that of its host, for instance "VORN_ERR_NOT_SUPPORT_CODE_".
    /// @param _elapsed_time seconds that the answer has lived.
    virtual void on_return(Msg_num _msg_num, Error _err, double _elapsed_time);

    /// Sends, and returns at once. If the answer never comes, `on_return` is never called; a lost connection
    /// does not call it either.
    /// @param _msg_num_ receives the number that `on_return` will name, before the signal is sent. Not null.
    /// @param _signal_data_ copied before the return. Null sends no payload.
    /// @param _limit_time with 0 or less the signal is dropped at the far end.
    /// @return 0, "VORN_ERR_IS_NOT_CREATED_", "VORN_ERR_OBJECT_IS_NOT_EXIST_" (not connected),
    ///         "VORN_ERR_EMPTY_VORN_MEMORY_", "VORN_ERR_BUSY_LOCALHOST_".
    Error delegate_signal(Msg_num* _msg_num_, const void* _signal_data_, Pksize _signal_size, double _limit_time);

    /// Sends, and returns a handle for `await_return`; never null. Failures are those of `delegate_signal`
    /// and come out of `await_return`.
    Promise_ async_signal(const void* _signal_data_, Pksize _signal_size, double _limit_time);

    /// Blocks until the answer, a lost connection or the limit, and frees the handle. May be called from a
    /// callback.
    /// @param _time_ if not null: seconds since the signal.
    /// @return the service's result; "VORN_ERR_LOCAL_TIMEOUT_"; "VORN_ERR_DISCONNECTED_TCP_";
    ///         "VORN_ERR_IS_NOT_CREATED_"; "VORN_ERR_NULL_RETURN_OBJECT_"; or the failure of `async_signal`.
    Error await_return(Promise_ _promise_, double* _time_);

    /// `async_signal`, directly followed by `await_return`.
    Error signal(const void* _signal_data_, Pksize _signal_size, double _limit_time, double* _time_);

    /// Asks the service to give up what it does for this code; ends no wait here.
    void cancel(Error _error);

private:
    _Proxy_signal* const _mp;
};

}  // namespace Vorn35
