/// @file
/// Service side of an event: a message to every linked client.
#pragma once

#include "Vorn35/Stub.h"
#include "Vorn35/vorn_export.h"

namespace Vorn35 {

class _Stub_event;

/// One source of events of a `Stub`, under a code. A client must link first. It then receives each event by TCP, until
/// either side unlinks or the connection is lost. Events are not acknowledged, not repeated and not kept.
///
/// Threads: any thread may call any operation. Requests to link and to unlink of one member run one at a time, since
/// they share one ordering key. A lost connection has another key: `on_unlink` after the loss of one client can run
/// while `on_link` or another callback of this member runs for another client, and even for the same one. Protect what
/// these callbacks share by a mutex or an atomic. Callbacks run on listener threads with no lock of the runtime held,
/// and may call any operation.
///
/// @code
/// struct Ticker : Vorn35::Stub_event {
///     Ticker() : Stub_event(3) {}
/// };
/// ticker.event(&price, sizeof price);
/// @endcode
class VORN35_API Stub_event : public virtual Stub {
public:
    /// Integrated: this object, or an object of a class that derives from it, is itself the `Stub`. Before its
    /// destructor begins, call `stop_and_wait`: see `~Stub_event`.
    explicit Stub_event(Msg_code _code);
    /// Attached to another object, a `Stub` that is not started. Before its destructor begins, call `stop_and_wait`:
    /// see `~Stub_event`.
    Stub_event(Msg_code _code, const Stub& _stub);
    Stub_event(const Stub_event&) = delete;
    /// Removes the member. An attached member first stops the whole `Stub`. Destroying an object of a derived class
    /// while a callback runs is a data race on its vtable: first call `stop_and_wait`, or let it outlive `finalize`.
    ~Stub_event() override;

    /// A client asks for a link. Also called for a client that has one already.
    /// @param _packet_live_time age of the request in seconds.
    /// @param _packet_limit_time seconds that the client still waits.
    /// @return 0 accepts the link. Any other `Error` refuses it; the client receives the error. A link whose
    ///         confirmation cannot be sent is not entered.
    virtual Error on_link(Addr _proxy_addr, double _packet_live_time, double _packet_limit_time);
    /// A client unlinked (the error is the client's, 0), or the connection of a linked client is lost
    /// ("VORN_ERR_DISCONNECTED_TCP_"). Not called for a link that the service ends. Also called for a client that
    /// unlinks without a link.
    virtual void on_unlink(Addr _proxy_addr, Error _error);

    /// Sends an event to every linked client. The payload is copied once, for any number of clients. A send that fails
    /// for one client is not reported.
    ///
    /// **Pace the events.** A loop of `event` without a pause overruns the pipe of 16 waiting messages of the receiving
    /// process, which drops the rest without an error. Send at most about 10 events in one go, wait until the clients
    /// have acknowledged them by a message of their own, and number the events so that a client sees a gap; see
    /// docs/lost.md.
    /// @param _buffer_ the payload. Not read when the size is 0.
    /// @param _size size of the payload; 0 sends an event without payload.
    /// @return 0, also when no client is linked; "VORN_ERR_IS_NOT_CREATED_"; "VORN_ERR_EMPTY_VORN_MEMORY_".
    Error event(const void* _buffer_, Pksize _size);
    /// Sends an event without payload.
    Error event();
    /// Ends the link of one client and notifies the client, whose `on_unlink` runs. Without a link, nothing happens.
    void unlink(Addr _proxy_addr);
    /// `unlink` for each linked client.
    void unlink_all_proxy();

private:
    _Stub_event* const _mp;
};

}  // namespace Vorn35
