/// @file
/// Service side of a command: a value that clients publish to the service.
#pragma once

#include "Vorn35/History.h"
#include "Vorn35/Stub.h"
#include "Vorn35/vorn_export.h"

namespace Vorn35 {

class _Stub_command;

/// One command that a `Stub` takes, under a code. Each linked client sends values of its own, which are told
/// to `on_sync` and kept in a history per client. A history ends with its client's link.
///
/// Threads: any operation from any thread. `on_link` and `on_unlink` of one member run one at a time, on
/// listener threads and with no lock held; so does `on_sync`, which may call any operation, too. Times are in
/// seconds.
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
    /// Integrated into an application class that is a `Stub`.
    explicit Stub_command(Msg_code _code);
    /// Attached to an existing `Stub`.
    Stub_command(Msg_code _code, const Stub& _stub);
    Stub_command(const Stub_command&) = delete;
    ~Stub_command() override;

    /// A value of a linked client has come; it is in the history already.
    /// @param _sync_model how the client publishes.
    /// @param _elapsed_time age of the value in seconds.
    /// @param _limit seconds that the value is good for, as the client set them; very large in the model
    /// `on_post`.
    /// @param _buffer_ valid until the return; null when the value is empty.
    virtual void on_sync(Addr _proxy_addr, Sync_model _sync_model, double _elapsed_time, double _limit,
                         const void* _buffer_, const Pksize _size);
    /// A client asks for a link; also one that has a link already, and keeps its history.
    /// @param _packet_live_time seconds that the request has lived so far.
    /// @param _packet_limit_time seconds that the client still waits.
    /// @return 0 to accept it, or an `Error` that the client receives.
    virtual Error on_link(Addr _proxy_addr, double _packet_live_time, double _packet_limit_time);
    /// A client has left, or its connection is gone ("VORN_ERR_DISCONNECTED_TCP_"). Not called for an end
    /// that the service asked for. A client that leaves without a link is told of, too.
    virtual void on_unlink(Addr _proxy_addr, Error _err);

    /// Ends the link of one client, which is told of it. Nothing happens when it has none.
    void unlink(Addr _proxy_addr);
    /// `unlink` for each linked client.
    void unlink_all_proxy();

    /// Whether `on_sync` is called, as it is at first. The histories are kept in any case.
    void set_sync(bool _use_on_sync);
    /// The most values that the history of each client keeps, 1 at first. It shrinks with that client's next
    /// value.
    void set_history_size(std::size_t _history_size);
    /// A client's newest values, at most so many, newest first; none for a client without a link. Null when
    /// the service is not started. For a `History`, which frees it.
    Letter_case_ see_history(Addr _proxy_addr, std::size_t _size);
    /// Copies a client's newest value.
    /// @param _size_ in: size of the buffer. Out: size of the value if that is smaller; a larger one is cut.
    /// @return 0, "VORN_ERR_IS_NOT_CREATED_", "VORN_ERR_EMPTY_HISTORY_" (no value yet, or no link).
    Error read(Addr _proxy_addr, void* _data_, Pksize* _size_);

private:
    _Stub_command* const _mp;
};

}  // namespace Vorn35
