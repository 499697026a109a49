/// @file
/// Receiver of datagrams.
#pragma once

#include "Vorn35/Proxy.h"
#include "Vorn35/vorn_export.h"

namespace Vorn35 {

class _Proxy_datagram;

/// Receives the datagrams that one remote `Stub` sends under a code. There is no link: datagrams arrive while the
/// `Proxy` is started, connected or not. A datagram is dropped unless it comes from the address that `start` was given:
/// for instance, a client of 127.0.0.1 does not receive what the `Stub` broadcasts from its network address.
///
/// Threads: `on_datagram` runs on listener threads with no lock of the runtime held, several at once, and datagrams may
/// overtake each other.
///
/// @code
/// struct Listener : Vorn35::Proxy_datagram {
///     Listener() : Proxy_datagram(6) {}
///     void on_datagram(Vorn35::Addr, const void* _buf_, Vorn35::Pksize _size, double) override;
/// };
/// @endcode
class VORN35_API Proxy_datagram : public virtual Proxy {
public:
    /// Integrated: this object, or an object of a class that derives from it, is itself the `Proxy`. Before its
    /// destructor begins, call `stop_and_wait`: see `~Proxy_datagram`.
    explicit Proxy_datagram(Msg_code _code);
    /// Attached to another object, a `Proxy` that is not started. Before its destructor begins, call `stop_and_wait`:
    /// see `~Proxy_datagram`.
    Proxy_datagram(Msg_code _code, const Proxy& _proxy_object);
    Proxy_datagram(const Proxy_datagram&) = delete;
    /// Removes the member. An attached member first stops the whole `Proxy`. Destroying an object of a derived class
    /// while a callback runs is a data race on its vtable: first call `stop_and_wait`, or let it outlive `finalize`.
    ~Proxy_datagram() override;

protected:
    /// A datagram has arrived.
    /// @param _buf_ the payload, valid until the callback returns; null when there is none.
    /// @param _elapsed_time age of the datagram in seconds.
    virtual void on_datagram(Addr _stub_addr, const void* _buf_, Pksize _size, double _elapsed_time);

private:
    friend class _Proxy_datagram;
    _Proxy_datagram* const _mp;
};

}  // namespace Vorn35
