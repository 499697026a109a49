/// @file
/// Service side of a command: a value that clients send to the service.
#pragma once

#include "Vorn35/History.h"
#include "Vorn35/Stub.h"
#include "Vorn35/vorn_export.h"

namespace Vorn35 {

class _Stub_command;

/// One command that a `Stub` takes, under a code. Each linked client sends values of its own. Each value is passed to
/// `on_sync` and kept in a history per client.
///
/// **Memory.** A history becomes unreachable when its client's link ends. Its values are freed when the client unlinks,
/// the service calls `unlink` while the connection stands, or the service stops. When the connection is lost instead,
/// the values that the history keeps, up to `history_size` per lost client and member, deliberately stay allocated
/// until the process ends; `finalize` does not free them. With clients that come and go, keep `history_size` small;
/// `set_history_size(0)` keeps nothing.
///
/// Threads: any thread may call any operation. Requests to link and to unlink of one member run one at a time, since
/// they share one ordering key. A lost connection has another key: `on_unlink` after the loss of one client can run
/// while `on_link` or another callback of this member runs for another client, and even for the same one. Protect what
/// these callbacks share by a mutex or an atomic. Callbacks run on listener threads with no lock of the runtime held,
/// and may call any operation. Times are in seconds.
///
/// `on_sync` calls of one member run one at a time, in the order in which their values entered the histories.
/// `on_unlink` after a loss, and `unlink`, first wait for a running `on_sync` of that client; no `on_sync` of that
/// client follows. `on_sync` may call every operation, also `unlink` of its own client. `stop` does not wait for it.
///
/// @code
/// struct Valve : Vorn35::Stub_command {
///     Valve() : Stub_command(5) {}
///     void on_sync(Vorn35::Addr, Vorn35::Sync_model, double, double, const void* _buffer_,
///                  const Vorn35::Pksize _size) override { turn_to(_buffer_, _size); }
/// };
/// @endcode
class VORN35_API Stub_command : public virtual Stub {
public:
    /// Integrated: this object, or an object of a class that derives from it, is itself the `Stub`. Before its
    /// destructor begins, call `stop_and_wait`: see `~Stub_command`.
    explicit Stub_command(Msg_code _code);
    /// Attached to another object, a `Stub` that is not started. Before its destructor begins, call `stop_and_wait`:
    /// see `~Stub_command`.
    Stub_command(Msg_code _code, const Stub& _stub);
    Stub_command(const Stub_command&) = delete;
    /// Removes the member. An attached member first stops the whole `Stub`. Destroying an object of a derived class
    /// while a callback runs is a data race on its vtable: first call `stop_and_wait`, or let it outlive `finalize`.
    ~Stub_command() override;

    /// A value of a linked client has arrived and is already in the history.
    /// @param _proxy_addr the client.
    /// @param _sync_model how the client sends.
    /// @param _elapsed_time age of the value in seconds.
    /// @param _limit seconds that the value is valid, as the client set them; very large in the model `on_post`.
    /// @param _buffer_ the value, valid until the callback returns; null when it is empty.
    virtual void on_sync(Addr _proxy_addr, Sync_model _sync_model, double _elapsed_time, double _limit,
                         const void* _buffer_, const Pksize _size);
    /// A client asks for a link. Also called for a client that has one already, and keeps its history.
    /// @param _packet_live_time age of the request in seconds.
    /// @param _packet_limit_time seconds that the client still waits.
    /// @return 0 accepts the link. Any other `Error` refuses it; the client receives the error. A link whose
    ///         confirmation cannot be sent is not entered.
    virtual Error on_link(Addr _proxy_addr, double _packet_live_time, double _packet_limit_time);
    /// A client unlinked (the error is the client's, 0), or the connection of a linked client is lost
    /// ("VORN_ERR_DISCONNECTED_TCP_"). Not called for a link that the service ends. Also called for a client that
    /// unlinks without a link.
    virtual void on_unlink(Addr _proxy_addr, Error _err);

    /// Ends the link of one client and notifies the client, whose `on_unlink` runs. Without a link, nothing happens.
    /// Waits for a running `on_sync` of that client, and none follows. Called inside that `on_sync`, it does not wait.
    void unlink(Addr _proxy_addr);
    /// `unlink` for each linked client.
    void unlink_all_proxy();

    /// Switches `on_sync` on or off; at first it is on. The histories are kept in both cases.
    void set_sync(bool _use_on_sync);
    /// Sets how many values the history of each client keeps; at first 1. A history shrinks when the next value of its
    /// client arrives. With 0, a history keeps nothing and `read` finds no value.
    void set_history_size(std::size_t _history_size);
    /// A snapshot of a client's newest values, at most `_size` of them, newest first; empty for a client without a
    /// link, and null when the service is not started. Pass it to a `History`, which frees it.
    Letter_case_ see_history(Addr _proxy_addr, std::size_t _size);
    /// Copies a client's newest value.
    /// @param _size_ in: size of the buffer. Out: size of the value if that is smaller. A larger value is cut to the
    ///        buffer.
    /// @return 0; "VORN_ERR_IS_NOT_CREATED_"; "VORN_ERR_EMPTY_HISTORY_" (no value yet, or no link).
    Error read(Addr _proxy_addr, void* _data_, Pksize* _size_);

private:
    _Stub_command* const _mp;
};

}  // namespace Vorn35
