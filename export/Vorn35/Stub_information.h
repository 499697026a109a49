/// @file
/// Service side of an information: a value that the service publishes to every linked client.
#pragma once

#include "Vorn35/History.h"
#include "Vorn35/Stub.h"
#include "Vorn35/vorn_export.h"

namespace Vorn35 {

class _Stub_information;

/// One value of a `Stub`, under a code. It is sent to every linked client at each `post`, or at a fixed rate, and kept
/// in a history. A client chooses one of two kinds of link:
/// - reliable: by TCP;
/// - unreliable: by multicast, one datagram per network interface for any number of clients there. Such a value may be
///   lost. One above 60000 bytes goes by TCP, and is dropped for a client whose connection has other messages waiting.
///
/// A client that links does not receive the current value: its first value is the next one that is sent. A `stop` drops
/// the current value and the history.
///
/// **Writing.** Write a value in place: `get` a block, fill it, `post` it; or in one step with `write`. One thread at a
/// time has a block: a `get` on another thread waits until the writer has called `post` or `cancel`. Call `post` and
/// `cancel` on the thread that called `get`. A second `get` there, before `post` or `cancel`, waits forever.
///
/// A `stop` takes the block away from its writer. The block is dead then: a `post` returns an error and a `cancel` does
/// nothing, also after a new `start` and while another thread has a block. The memory of a dead block stays valid until
/// its writer's next `get`, `post` or `cancel` on this member, or until the member is destroyed.
///
/// Threads: any thread may call any operation. Requests to link and to unlink of one member run one at a time, since
/// they share one ordering key. A lost connection has another key: `on_unlink` after the loss of one client can run
/// while `on_link` or another callback of this member runs for another client, and even for the same one. Protect what
/// these callbacks share by a mutex or an atomic. Callbacks run on listener threads with no lock of the runtime held,
/// and may call any operation. Times are in seconds.
///
/// @code
/// struct Gauge : Vorn35::Stub_information {
///     Gauge() : Stub_information(4) {}
/// };
/// if (void* block = gauge.get(sizeof(double))) {
///     std::memcpy(block, &level, sizeof level);
///     gauge.post(sizeof level);
/// }
/// @endcode
class VORN35_API Stub_information : public virtual Stub {
public:
    /// Integrated: this object, or an object of a class that derives from it, is itself the `Stub`. Before its
    /// destructor begins, call `stop_and_wait`: see `~Stub_information`.
    explicit Stub_information(Msg_code _code);
    /// Attached to another object, a `Stub` that is not started. Before its destructor begins, call `stop_and_wait`:
    /// see `~Stub_information`.
    Stub_information(Msg_code _code, const Stub& _stub);
    Stub_information(const Stub_information&) = delete;
    /// Removes the member. An attached member first stops the whole `Stub`. Destroying an object of a derived class
    /// while a callback runs is a data race on its vtable: first call `stop_and_wait`, or let it outlive `finalize`.
    ~Stub_information() override;

    /// A client asks for a link. Also called for a client that has one already.
    /// @param _reliability true: by TCP. False: by multicast.
    /// @param _packet_live_time age of the request in seconds.
    /// @param _packet_limit_time seconds that the client still waits.
    /// @return 0 accepts the link. Any other `Error` refuses it; the client receives the error. A link whose
    ///         confirmation cannot be sent is not entered.
    virtual Error on_link(Addr _proxy_addr, bool _reliability, double _packet_live_time, double _packet_limit_time);
    /// A client unlinked (the error is the client's, 0), or the connection of a linked client is lost
    /// ("VORN_ERR_DISCONNECTED_TCP_"). Not called for a link that the service ends. Also called for a client that
    /// unlinks without a link.
    virtual void on_unlink(Addr _proxy_addr, Error _err);

    /// Returns a block of `_size` bytes for the next value. It belongs to the runtime and may be written until `post`
    /// or `cancel`.
    /// @return null when the service is not started, or was stopped while this thread waited for another writer.
    void* get(Pksize _size);
    /// Gives the block back unpublished. Without a block, nothing happens.
    void cancel();
    /// Makes the block the current value. In the model `on_post` the current value is sent. Two posts at the same time
    /// may both find the later value and send it twice.
    /// @param _size size of the value, at most the size that `get` was asked for.
    /// @return 0, also when the send to a client failed; "VORN_ERR_IS_NOT_CREATED_"; "VORN_ERR_DONT_GET_" (no block, or
    ///         a `stop` took it away); "VORN_ERR_TOO_BIG_SIZE_", after which the writer still has the block.
    Error post(Pksize _size);
    /// `get`, copy, `post`. Waits for another writer like `get`.
    /// @return as `post`; or "VORN_ERR_EMPTY_VORN_MEMORY_" when the service was stopped while this thread waited for
    ///         another writer.
    Error write(const void* _data_, Pksize _size);
    /// Chooses when values are sent; at first `on_post`. Waits for a send of the timer that runs.
    ///
    /// In the model `on_timer` the current value is sent every `_interval` seconds. The rate does not drift, and lasts
    /// until the model changes or the member is destroyed, also across a `stop` and a `start`.
    /// @param _interval seconds, above 0. Not used in the model `on_post`.
    void set_sync_model(Sync_model _sync_model, double _interval);

    /// A snapshot of the newest values that were sent, at most `_size` of them, newest first; null when the service is
    /// not started. Pass it to a `History`, which frees it.
    Letter_case_ see_history(std::size_t _size);
    /// Sets how many values the history keeps; at first 1. The history shrinks when the next value is sent.
    void set_history_size(std::size_t _history_size);
    /// Copies the newest value that was sent.
    /// @param _size_ in: size of the buffer. Out: size of the value if that is smaller. A larger value is cut to the
    ///        buffer.
    /// @return 0; "VORN_ERR_IS_NOT_CREATED_"; "VORN_ERR_EMPTY_HISTORY_".
    Error read(void* _data_, Pksize* _size_);

    /// Ends the link of one client and notifies the client, whose `on_unlink` runs. Without a link, nothing happens.
    void unlink(Addr _proxy_addr);
    /// `unlink` for each linked client.
    void unlink_all_proxy();

private:
    _Stub_information* const _mp;
};

}  // namespace Vorn35
