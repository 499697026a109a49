/// @file
/// Sender of datagrams.
#pragma once

#include "Vorn35/Stub.h"
#include "Vorn35/vorn_export.h"

namespace Vorn35 {

class _Stub_datagram;

/// One kind of datagram that a `Stub` sends, under a code: a UDP message to one host or to the whole subnet, without
/// link, answer or order. It may be lost. It goes to the port number of the `Stub`, at which each started `Proxy` of
/// this `Stub` listens.
///
/// Threads: any thread may call any operation, also from a callback and from an `on_signal_sync_t` function.
///
/// @code
/// struct Beacon : Vorn35::Stub_datagram {
///     Beacon() : Stub_datagram(6) {}
/// };
/// beacon.broadcast("here", 4);
/// @endcode
class VORN35_API Stub_datagram : public virtual Stub {
public:
    /// Integrated: this object, or an object of a class that derives from it, is itself the `Stub`. Before its
    /// destructor begins, call `stop_and_wait`: see `~Stub_datagram`.
    explicit Stub_datagram(Msg_code _code);
    /// Attached to another object, a `Stub` that is not started. Before its destructor begins, call `stop_and_wait`:
    /// see `~Stub_datagram`.
    Stub_datagram(Msg_code _code, const Stub& _stub);
    Stub_datagram(const Stub_datagram&) = delete;
    /// Removes the member. An attached member first stops the whole `Stub`. Destroying an object of a derived class
    /// while a callback runs is a data race on its vtable: first call `stop_and_wait`, or let it outlive `finalize`.
    ~Stub_datagram() override;

    /// Sends to one host.
    /// @param _datagram_data_ the payload, copied before the return. Not read when the size is 0.
    /// @param _datagram_size size of the payload, at most 65000.
    /// @return 0, also when the datagram could not be sent; "VORN_ERR_IS_NOT_CREATED_"; "VORN_ERR_TOO_BIG_SIZE_";
    ///         "VORN_ERR_EMPTY_VORN_MEMORY_".
    Error cast(IP _ip, const void* _datagram_data_, Pksize _datagram_size);
    /// Sends to every host of the subnet, including this one. Arguments and results are those of `cast`.
    Error broadcast(const void* _datagram_data_, Pksize _datagram_size);

private:
    _Stub_datagram* const _mp;
};

}  // namespace Vorn35
