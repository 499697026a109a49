/// @file
/// Client side of a signal.
#pragma once

#include "Vorn35/Promise.h"
#include "Vorn35/Proxy.h"
#include "Vorn35/vorn_export.h"

namespace Vorn35 {

class _Proxy_signal;

/// Sends a message to a remote `Stub`, which acknowledges its arrival. The acknowledgement carries an error and no
/// payload, and is sent before the service handles the signal.
///
/// Time limits are in seconds. The waits of `await_return` and `signal` can miss the acknowledgement, as described at
/// `Proxy_call`: they then return "VORN_ERR_LOCAL_TIMEOUT_", although the service took the signal. `delegate_signal`
/// has no such gap.
///
/// @code
/// Vorn35::Msg_num num = 0;
/// client.delegate_signal(&num, "ring", 4, 1.0);  // the acknowledgement comes to on_return
/// @endcode
class VORN35_API Proxy_signal : public virtual Proxy {
public:
    /// Integrated: this object, or an object of a class that derives from it, is itself the `Proxy`. Before its
    /// destructor begins, call `stop_and_wait`: see `~Proxy_signal`.
    explicit Proxy_signal(Msg_code _code);
    /// Attached to another object, a `Proxy` that is not started. Before its destructor begins, call `stop_and_wait`:
    /// see `~Proxy_signal`.
    Proxy_signal(Msg_code _code, const Proxy& _proxy_object);
    Proxy_signal(const Proxy_signal&) = delete;
    /// Removes the member. An attached member first stops the whole `Proxy`. Destroying an object of a derived class
    /// while a callback runs is a data race on its vtable: first call `stop_and_wait`, or let it outlive `finalize`.
    ~Proxy_signal() override;

    /// The acknowledgement of a `delegate_signal`. Runs on a listener thread, and can run before `delegate_signal`
    /// returns.
    /// @param _msg_num the number that `delegate_signal` gave to the signal.
    /// @param _err 0; the error that the service returned; or an error of its process, for instance
    ///        "VORN_ERR_NOT_SUPPORT_CODE_".
    /// @param _elapsed_time age of the exchange in seconds, as both ends have counted it.
    virtual void on_return(Msg_num _msg_num, Error _err, double _elapsed_time);

    /// Sends a signal and returns at once; the acknowledgement comes to `on_return`. If none comes, for instance
    /// because the connection is lost, `on_return` is not called.
    ///
    /// **Pace the signals.** A loop of `delegate_signal` without a pause overruns the pipe of 16 waiting messages of
    /// the receiving process, which drops the rest without an error. Keep at most about 10 messages to one process
    /// outstanding by counting the acknowledgements, and repeat what stays without an answer; see docs/lost.md.
    /// @param _msg_num_ receives the number of the signal before it is sent. Not null.
    /// @param _signal_data_ the payload, copied before the return. Null sends no payload.
    /// @param _limit_time seconds. With 0 or less the receiving process drops the signal.
    /// @return 0, "VORN_ERR_IS_NOT_CREATED_", "VORN_ERR_OBJECT_IS_NOT_EXIST_" (not connected),
    ///         "VORN_ERR_EMPTY_VORN_MEMORY_", "VORN_ERR_BUSY_LOCALHOST_".
    Error delegate_signal(Msg_num* _msg_num_, const void* _signal_data_, Pksize _signal_size, double _limit_time);

    /// Sends a signal and returns a `Promise`, never null, for `await_return`, which also reports a failure to send.
    /// The failures are those of `delegate_signal`.
    Promise_ async_signal(const void* _signal_data_, Pksize _signal_size, double _limit_time);

    /// Blocks until the acknowledgement, a lost connection or the limit, then frees the `Promise`. May be called from a
    /// callback. A `stop` does not end the wait.
    /// @param _time_ if not null: receives the seconds since the signal.
    /// @return the error that the service returned, 0 for success; "VORN_ERR_LOCAL_TIMEOUT_";
    ///         "VORN_ERR_DISCONNECTED_TCP_"; "VORN_ERR_IS_NOT_CREATED_" (stopped before the wait);
    ///         "VORN_ERR_NULL_RETURN_OBJECT_"; or the failure to send.
    Error await_return(Promise_ _promise_, double* _time_ = nullptr);

    /// `async_signal`, then at once `await_return`.
    Error signal(const void* _signal_data_, Pksize _signal_size, double _limit_time, double* _time_ = nullptr);

    /// Calls `on_signal_cancel` of the service. It runs after the handler of this code that is running, names no
    /// signal, and ends no wait on this side.
    void cancel(Error _error);

private:
    _Proxy_signal* const _mp;
};

}  // namespace Vorn35
