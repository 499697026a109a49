/// @file
/// Receiver of datagrams.
#pragma once

#include "Vorn35/Proxy.h"
#include "Vorn35/vorn_export.h"

namespace Vorn35 {

class _Proxy_datagram;

/// Receives the datagrams that one remote `Stub` casts under a code. There is no link: they come as long as the
/// `Proxy` is started, also while it is not connected. A datagram whose source is not the address that `start`
/// was given is dropped: a `Stub` reached at 127.0.0.1 is not heard when it broadcasts to the network.
///
/// @code
/// struct Listener : Vorn35::Proxy_datagram {
///     Listener() : Proxy_datagram(6) {}
///     void on_datagram(Vorn35::Addr, const void* _buf_, Vorn35::Pksize _size, double) override;
/// };
/// @endcode
class VORN35_API Proxy_datagram : public virtual Proxy {
public:
    /// Integrated into an application class that is a `Proxy`.
    explicit Proxy_datagram(Msg_code _code);
    /// Attached to an existing `Proxy`.
    Proxy_datagram(Msg_code _code, const Proxy& _proxy_object);
    Proxy_datagram(const Proxy_datagram&) = delete;
    ~Proxy_datagram() override;

protected:
    /// A datagram has come. Runs on a listener thread with no lock held.
    /// @param _buf_ valid until the return; null when there is no payload.
    /// @param _elapsed_time seconds that the datagram has lived.
    virtual void on_datagram(Addr _stub_addr, const void* _buf_, Pksize _size, double _elapsed_time);

private:
    friend class _Proxy_datagram;
    _Proxy_datagram* const _mp;
};

}  // namespace Vorn35
