/// @file
/// Client side of a command.
#pragma once

#include "Vorn35/History.h"
#include "Vorn35/Promise.h"
#include "Vorn35/Proxy.h"
#include "Vorn35/vorn_export.h"

namespace Vorn35 {

class _Proxy_command;

/// Writes the value of one command to a remote `Stub`, over a link that is asked for and ends as that of
/// `Proxy_event` does. A value goes out at each `post`, or at a fixed rate. Values that went out are kept in
/// a history, which, as the current value, outlives a link and a connection.
///
/// A value posted while no link stands becomes current and is not sent; nothing sends it later but the timer.
///
/// A value is written in place: `get` a block, fill it, `post` it; or in one step with `write`. One writer at
/// a time: a `get` on another thread waits until the writer has called `post` or `cancel`; a second `get` on
/// the writer's own thread waits for ever. A stop takes the block away from its writer: what is still written there,
/// until the next stop that takes one, goes nowhere.
///
/// Threads: any operation from any thread; callbacks run on listener threads with no lock held. Times are in
/// seconds. The wait of `await_link_return` is one timed wait with the property told at `Proxy_call`.
///
/// @code
/// if (client.is_linked()) client.write(&position, sizeof position);
/// @endcode
class VORN35_API Proxy_command : public virtual Proxy {
public:
    /// Integrated into an application class that is a `Proxy`.
    explicit Proxy_command(Msg_code _code);
    /// Attached to an existing `Proxy`.
    Proxy_command(Msg_code _code, const Proxy& _proxy_object);
    Proxy_command(const Proxy_command&) = delete;
    ~Proxy_command() override;

protected:
    /// The link has ended without our asking: by the service (0), or with the connection
    /// ("VORN_ERR_DISCONNECTED_TCP_"; `on_disconnect` follows).
    virtual void on_unlink(Error _err);
    /// The answer of a `delegate_link`.
    /// @param _err 0: the link stands. Otherwise the refusal of the service or of its host.
    /// @param _time_ seconds that the answer has lived.
    virtual void on_link(Msg_num _msg_num, Error _err, double _time_);

public:
    /// Whether the link stands.
    bool is_linked();
    /// Asks for the link, and returns at once.
    /// @param _msg_num_ receives the number that `on_link` will name, before the request is sent. Not null.
    /// @param _limit_time the service sees it, too.
    /// @return 0, "VORN_ERR_IS_NOT_CREATED_", "VORN_ERR_OBJECT_IS_NOT_EXIST_" (not connected),
    ///         "VORN_ERR_ALREADY_CONNECTED_" (the link stands), "VORN_ERR_EMPTY_VORN_MEMORY_",
    ///         "VORN_ERR_BUSY_LOCALHOST_".
    Error delegate_link(Msg_num* _msg_num_, double _limit_time);
    /// Asks for the link, and returns a handle for `await_link_return`; never null. Failures are those of
    /// `delegate_link` and come out of `await_link_return`.
    Promise_ async_link(double _limit_time);
    /// Blocks until the answer, a lost connection or the limit, and frees the handle. May be called from a
    /// callback.
    /// @param _time_ if not null: seconds since the request.
    /// @return the service's result; "VORN_ERR_LOCAL_TIMEOUT_"; "VORN_ERR_DISCONNECTED_TCP_";
    ///         "VORN_ERR_IS_NOT_CREATED_"; "VORN_ERR_NULL_RETURN_OBJECT_"; or the failure of `async_link`.
    Error await_link_return(Promise_ _promise_, double* _time_);
    /// Ends the link.
    void unlink();

    /// Chooses how values are sent. Returns when a send that runs is done.
    /// @param _reliability true, as it is at first: no value is dropped. False: a value is dropped while the
    ///        connection is behind.
    /// @param _interval in the model `on_timer`, the seconds between two sends of the current value, without drift and
    ///        until the model changes or the member is destroyed. Must be above 0. Not used in the model `on_post`.
    void set_sync_model(bool _reliability, Sync_model _sync_model, double _interval);
    /// A block to write the next value into; the runtime's until `post` or `cancel`.
    /// @return null when the client is not started, or was stopped while another writer was waited for.
    void* get(Pksize _size);
    /// Gives the block back unsent. Without a block: nothing.
    void cancel();
    /// Makes the block the current value; in the model `on_post` it goes out, if the link stands.
    /// @param _size bytes of the value, at most what `get` was asked for.
    /// @return 0, whether or not the value could be sent; "VORN_ERR_IS_NOT_CREATED_"; "VORN_ERR_DONT_GET_" (no block);
    ///         "VORN_ERR_TOO_BIG_SIZE_" and "VORN_ERR_DURTY_MEMORY_", after which the block is still there.
    Error post(Pksize _size);
    /// `get`, copy, `post`.
    /// @return as `post`; "VORN_ERR_EMPTY_VORN_MEMORY_" when the client was stopped while another writer was waited
    ///         for.
    Error write(const void* _data_, Pksize _size);

    /// The newest values that were sent, at most so many, newest first; never null. For a `History`, which
    /// frees it.
    Letter_case_ see_history(std::size_t _size);
    /// The most values that the history keeps, 1 at first. It shrinks with the next value.
    void set_history_size(std::size_t _history_size);
    /// Copies the newest value that was sent.
    /// @param _size_ in: size of the buffer. Out: size of the value if that is smaller; a larger one is cut.
    /// @return 0, "VORN_ERR_IS_NOT_CREATED_", "VORN_ERR_EMPTY_HISTORY_".
    Error read(void* _data_, Pksize* _size_);

private:
    friend class _Proxy_command;
    _Proxy_command* const _mp;
};

}  // namespace Vorn35
