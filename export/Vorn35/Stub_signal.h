/// @file
/// Service side of a signal: a notice with a payload, whose arrival is confirmed.
#pragma once

#include "Vorn35/Stub.h"
#include "Vorn35/vorn_export.h"

namespace Vorn35 {

class _Stub_signal;
class Stub_signal;

/// Runs in front of the answer, on the listener thread and with the runtime's object lock held shared: it
/// must be short, and it must not start, stop, create or destroy any object, nor change the ordering of
/// messages. Sending is allowed.
///
/// Arguments: the member, the client, the payload and its size, and in seconds how long the signal has lived
/// and how long its sender still waits.
/// @return the `Error` that the client receives; 0 confirms the signal.
using on_signal_sync_t = int(Stub_signal*, Addr, void*, Pksize, double, double);

/// One signal that a `Stub` takes, under a code. The answer goes out first, then `on_signal` runs: it says
/// that the signal arrived and not what became of it. Signals of one code run one at a time.
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
    /// Integrated into an application class that is a `Stub`.
    explicit Stub_signal(Msg_code _code);
    /// Attached to an existing `Stub`.
    /// @param _on_signal_sync__ null: every signal is confirmed.
    Stub_signal(Msg_code _code, const Stub& _stub, on_signal_sync_t* _on_signal_sync__);
    Stub_signal(const Stub_signal&) = delete;
    ~Stub_signal() override;

    /// A signal has come and its answer has left. Runs on a listener thread; every operation of the runtime
    /// may be called. Also called for a signal that `on_signal_sync_t` refused, but not when the answer could
    /// not be sent.
    /// @param _buf_ the payload; valid until the return. Null when there is none.
    /// @param _elapsed_time seconds that the signal has lived so far.
    virtual void on_signal(Addr _proxy_addr, const void* _buf_, Pksize _buf_size, double _elapsed_time);
    /// A client has given up a signal of this code, or an answer could not be delivered. Which signal, is not
    /// told.
    virtual void on_signal_cancel(Addr _proxy_addr, Error _error);

private:
    _Stub_signal* const _mp;
};

}  // namespace Vorn35
