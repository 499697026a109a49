/// @file
/// Sender of datagrams.
#pragma once

#include "Vorn35/Stub.h"
#include "Vorn35/vorn_export.h"

namespace Vorn35 {

class _Stub_datagram;

/// One kind of datagram that a `Stub` sends, under a code: one UDP message to one host or to the whole
/// subnet, with no link, no answer and no ordering. It goes to the port number of the `Stub`, where a started
/// `Proxy` of this `Stub` listens, and may be lost.
///
/// Threads: any operation from any thread, also from a callback and from a function in front of a signal's
/// answer.
///
/// @code
/// struct Beacon : Vorn35::Stub_datagram {
///     Beacon() : Stub_datagram(6) {}
/// };
/// beacon.broadcast("here", 4);
/// @endcode
class VORN35_API Stub_datagram : public virtual Stub {
public:
    /// Integrated into an application class that is a `Stub`.
    explicit Stub_datagram(Msg_code _code);
    /// Attached to an existing `Stub`.
    Stub_datagram(Msg_code _code, const Stub& _stub);
    Stub_datagram(const Stub_datagram&) = delete;
    ~Stub_datagram() override;

    /// Sends to one host.
    /// @param _datagram_size bytes, at most 65000; with 0 the data is not looked at.
    /// @return 0, also when the datagram could not leave; "VORN_ERR_IS_NOT_CREATED_"; "VORN_ERR_TOO_BIG_SIZE_";
    ///         "VORN_ERR_EMPTY_VORN_MEMORY_".
    Error cast(IP _ip, const void* _datagram_data_, Pksize _datagram_size);
    /// Sends to every host of the subnet, this one included.
    Error broadcast(const void* _datagram_data_, Pksize _datagram_size);

private:
    _Stub_datagram* const _mp;
};

}  // namespace Vorn35
