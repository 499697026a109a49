/// @file
/// Service side of an information: a value that the service publishes to every linked client.
#pragma once

#include "Vorn35/History.h"
#include "Vorn35/Stub.h"
#include "Vorn35/vorn_export.h"

namespace Vorn35 {

class _Stub_information;

/// One value of a `Stub`, under a code. It goes to every linked client at each `post`, or at a fixed rate,
/// and is kept in a history. A client links in one of two forms: reliable, by TCP; or unreliable, by
/// multicast, one datagram for each network interface however many clients listen there. An unreliable value
/// may be lost; one above 60000 bytes goes by TCP, and is dropped for a client whose connection is behind.
///
/// A client that links gets nothing at once: its first value is the next one that goes out.
///
/// A value is written in place: `get` a block, fill it, `post` it; or in one step with `write`. One writer at
/// a time: a `get` on another thread waits until the writer has called `post` or `cancel`; a second `get` on
/// the writer's own thread waits for ever. A stop takes the block away from its writer: what is still written there,
/// until the next stop that takes one, goes nowhere.
///
/// Threads: any operation from any thread. `on_link` and `on_unlink` of one member run one at a time, on
/// listener threads and with no lock held. Times are in seconds.
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
    /// Integrated into an application class that is a `Stub`.
    explicit Stub_information(Msg_code _code);
    /// Attached to an existing `Stub`.
    Stub_information(Msg_code _code, const Stub& _stub);
    Stub_information(const Stub_information&) = delete;
    ~Stub_information() override;

    /// A client asks for a link; also one that has a link already.
    /// @param _reliability true: by TCP.
    /// @param _packet_live_time seconds that the request has lived so far.
    /// @param _packet_limit_time seconds that the client still waits.
    /// @return 0 to accept it, or an `Error` that the client receives.
    virtual Error on_link(Addr _proxy_addr, bool _reliability, double _packet_live_time, double _packet_limit_time);
    /// A client has left, or its connection is gone ("VORN_ERR_DISCONNECTED_TCP_"). Not called for an end
    /// that the service asked for. A client that leaves without a link is told of, too.
    virtual void on_unlink(Addr _proxy_addr, Error _err);

    /// A block to write the next value into; the runtime's until `post` or `cancel`.
    /// @return null when the service is not started, or was stopped while another writer was waited for.
    void* get(Pksize _size);
    /// Gives the block back unpublished. Without a block: nothing.
    void cancel();
    /// Makes the block the current value; in the model `on_post` the current value goes out. Of two posts at the
    /// same time both may find the later value, which then goes out twice.
    /// @param _size bytes of the value, at most what `get` was asked for.
    /// @return 0, also when a client could not be sent to; "VORN_ERR_IS_NOT_CREATED_"; "VORN_ERR_DONT_GET_" (no block);
    ///         "VORN_ERR_TOO_BIG_SIZE_" and "VORN_ERR_DURTY_MEMORY_", after which the block is still there.
    Error post(Pksize _size);
    /// `get`, copy, `post`.
    /// @return as `post`; "VORN_ERR_EMPTY_VORN_MEMORY_" when the service was stopped while another writer was waited
    ///         for.
    Error write(const void* _data_, Pksize _size);
    /// `on_timer`: the current value goes out each `_interval` seconds, without drift, until the model
    /// changes or the member is destroyed; also after the service was stopped and started again. `_interval`
    /// must be above 0. Returns when a hand-out that runs is done.
    void set_sync_model(Sync_model _sync_model, double _interval);

    /// The newest values that went out, at most so many, newest first; null when the service is not started.
    /// For a `History`, which frees it.
    Letter_case_ see_history(std::size_t _size);
    /// The most values that the history keeps, 1 at first. It shrinks when the next value goes out.
    void set_history_size(std::size_t _history_size);
    /// Copies the newest value that went out.
    /// @param _size_ in: size of the buffer. Out: size of the value if that is smaller; a larger one is cut.
    /// @return 0, "VORN_ERR_IS_NOT_CREATED_", "VORN_ERR_EMPTY_HISTORY_".
    Error read(void* _data_, Pksize* _size_);

    /// Ends the link of one client, which is told of it. Nothing happens when it has none.
    void unlink(Addr _proxy_addr);
    /// `unlink` for each linked client.
    void unlink_all_proxy();

private:
    _Stub_information* const _mp;
};

}  // namespace Vorn35
