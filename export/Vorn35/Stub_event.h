/// @file
/// Service side of an event: a message to every linked client at the moment the service asks for it.
#pragma once

#include "Vorn35/Stub.h"
#include "Vorn35/vorn_export.h"

namespace Vorn35 {

class _Stub_event;

/// One source of events of a `Stub`, under a code. A client must link first; from then on it receives each
/// event by TCP, until either end unlinks or the connection is lost. Events are not answered, not repeated
/// and not kept.
///
/// Threads: as for `Stub`. `on_link` and `on_unlink` of one member run one at a time, on listener threads and
/// with no lock held; they may publish and unlink.
///
/// @code
/// struct Ticker : Vorn35::Stub_event {
///     Ticker() : Stub_event(3) {}
/// };
/// ticker.event(&price, sizeof price);
/// @endcode
class VORN35_API Stub_event : public virtual Stub {
public:
    /// Integrated into an application class that is a `Stub`.
    explicit Stub_event(Msg_code _code);
    /// Attached to an existing `Stub`.
    Stub_event(Msg_code _code, const Stub& _stub);
    Stub_event(const Stub_event&) = delete;
    ~Stub_event() override;

    /// A client asks for a link; also one that has a link already.
    /// @param _packet_live_time seconds that the request has lived so far.
    /// @param _packet_limit_time seconds that the client still waits.
    /// @return 0 to accept it, or an `Error` that the client receives.
    virtual Error on_link(Addr _proxy_addr, double _packet_live_time, double _packet_limit_time);
    /// A client has left, or its connection is gone ("VORN_ERR_DISCONNECTED_TCP_"). Not called for an end
    /// that the service asked for. A client that leaves without a link is told of, too.
    virtual void on_unlink(Addr _proxy_addr, Error _error);

    /// Sends an event to every linked client. The payload is copied once, whatever the number of clients. A
    /// send that fails for one client is not reported.
    /// @param _size bytes; 0 is an event without payload, whatever the buffer.
    /// @return 0, also when nobody is linked; "VORN_ERR_IS_NOT_CREATED_"; "VORN_ERR_EMPTY_VORN_MEMORY_".
    Error event(const void* _buffer_, Pksize _size);
    /// An event without payload.
    Error event();
    /// Ends the link of one client, which is told of it. Nothing happens when it has none.
    void unlink(Addr _proxy_addr);
    /// `unlink` for each linked client.
    void unlink_all_proxy();

private:
    _Stub_event* const _mp;
};

}  // namespace Vorn35
