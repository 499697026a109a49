/// @file
/// Service side of a signal: a message whose arrival is acknowledged.
#pragma once

#include "Vorn35/Stub.h"
#include "Vorn35/vorn_export.h"

namespace Vorn35 {

class _Stub_signal;
class Stub_signal;

/// Decides on the acknowledgement of a signal before it is sent. Runs on the listener thread with the runtime's object
/// lock held shared: it must be short, and must not start, stop, create or destroy any object, nor change the ordering
/// of messages. Sending is allowed.
///
/// Arguments: the member, the client, the payload and its size, the age of the signal in seconds, and the seconds that
/// its sender still waits.
/// @return the `Error` that the client receives; 0 accepts the signal.
using on_signal_sync_t = int(Stub_signal*, Addr, void*, Pksize, double, double);

/// One signal that a `Stub` takes, under a code. The acknowledgement is sent first, then `on_signal` runs: the
/// acknowledgement says that the signal arrived, not that it was handled. `on_signal` and `on_signal_cancel` of one
/// code run one at a time.
///
/// Signals that wait behind a slow handler are not bounded in number, and each of them is acknowledged only when its
/// turn comes.
///
/// @code
/// struct Door : Vorn35::Stub_signal {
///     Door() : Stub_signal(2) {}
///     void on_signal(Vorn35::Addr, const void* _buf_, Vorn35::Pksize _size, double) override {
///         ring(_buf_, _size);
///     }
/// };
/// @endcode
class VORN35_API Stub_signal : public virtual Stub {
public:
    /// Integrated: this object, or an object of a class that derives from it, is itself the `Stub`. Before its
    /// destructor begins, call `stop_and_wait`: see `~Stub_signal`.
    explicit Stub_signal(Msg_code _code);
    /// Attached to another object, a `Stub` that is not started. Before its destructor begins, call `stop_and_wait`:
    /// see `~Stub_signal`.
    /// @param _on_signal_sync__ decides on the acknowledgement. Null accepts every signal.
    Stub_signal(Msg_code _code, const Stub& _stub, on_signal_sync_t* _on_signal_sync__);
    Stub_signal(const Stub_signal&) = delete;
    /// Removes the member. An attached member first stops the whole `Stub`. Destroying an object of a derived class
    /// while a callback runs is a data race on its vtable: first call `stop_and_wait`, or let it outlive `finalize`.
    ~Stub_signal() override;

    /// Handles a signal whose acknowledgement was sent. Runs on a listener thread and may call every operation of the
    /// runtime. Also runs for a signal that `on_signal_sync_t` refused, but not when the acknowledgement could not be
    /// sent.
    /// @param _proxy_addr the client.
    /// @param _buf_ the payload, valid until the return; null when there is none.
    /// @param _elapsed_time age of the signal in seconds.
    virtual void on_signal(Addr _proxy_addr, const void* _buf_, Pksize _buf_size, double _elapsed_time);
    /// A client called `Proxy_signal::cancel`, or an acknowledgement could not be delivered. The message does not say
    /// which signal it means.
    virtual void on_signal_cancel(Addr _proxy_addr, Error _error);

private:
    _Stub_signal* const _mp;
};

}  // namespace Vorn35
