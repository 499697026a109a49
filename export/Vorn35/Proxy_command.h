/// @file
/// Client side of a command.
#pragma once

#include "Vorn35/History.h"
#include "Vorn35/Promise.h"
#include "Vorn35/Proxy.h"
#include "Vorn35/vorn_export.h"

namespace Vorn35 {

class _Proxy_command;

/// Sends the value of one command to a remote `Stub`, over a link: ask for it as described at `Proxy_event`. A value is
/// sent at each `post`, or at a fixed rate. The values that were sent are kept in a history. The current value and the
/// history outlive the link and the connection; a `stop` drops them.
///
/// A value that is posted while no link stands becomes the current value and is not sent. Later only the timer of the
/// model `on_timer` sends it.
///
/// **Writing.** Write a value in place: `get` a block, fill it, `post` it; or in one step with `write`. One thread at a
/// time has a block: a `get` on another thread waits until the writer has called `post` or `cancel`. Call `post` and
/// `cancel` on the thread that called `get`. A second `get` there, before `post` or `cancel`, waits forever.
///
/// A `stop` takes the block away from its writer. The block is dead then: a `post` returns an error and a `cancel` does
/// nothing, also after a new `start` and while another thread has a block. The memory of a dead block stays valid until
/// its writer's next `get`, `post` or `cancel` on this member, or until the member is destroyed.
///
/// Threads: any thread may call any operation. Callbacks run on listener threads with no lock of the runtime held,
/// several at once. Times are in seconds.
///
/// @code
/// if (client.is_linked()) client.write(&position, sizeof position);
/// @endcode
class VORN35_API Proxy_command : public virtual Proxy {
public:
    /// Integrated: this object, or an object of a class that derives from it, is itself the `Proxy`. Before its
    /// destructor begins, call `stop_and_wait`: see `~Proxy_command`.
    explicit Proxy_command(Msg_code _code);
    /// Attached to another object, a `Proxy` that is not started. Before its destructor begins, call `stop_and_wait`:
    /// see `~Proxy_command`.
    Proxy_command(Msg_code _code, const Proxy& _proxy_object);
    Proxy_command(const Proxy_command&) = delete;
    /// Removes the member. An attached member first stops the whole `Proxy`. Destroying an object of a derived class
    /// while a callback runs is a data race on its vtable: first call `stop_and_wait`, or let it outlive `finalize`.
    ~Proxy_command() override;

protected:
    /// The link has ended: the service ended it (0), or the connection is lost ("VORN_ERR_DISCONNECTED_TCP_";
    /// `on_disconnect` follows). Not called for an end that this side asked for.
    virtual void on_unlink(Error _err);
    /// The answer to a `delegate_link`. Runs on a listener thread.
    /// @param _msg_num the number that `delegate_link` gave to the request.
    /// @param _err 0: the service accepted. Otherwise the error of the service or of its process.
    /// @param _time_ age of the exchange in seconds, as both ends have counted it.
    virtual void on_link(Msg_num _msg_num, Error _err, double _time_);

public:
    /// Whether the link stands, as far as this side knows.
    bool is_linked();
    /// Asks for the link and returns at once; the answer comes to `on_link`.
    /// @param _msg_num_ receives the number of the request before it is sent. Not null.
    /// @param _limit_time seconds; the service sees it as well.
    /// @return 0; "VORN_ERR_IS_NOT_CREATED_"; "VORN_ERR_OBJECT_IS_NOT_EXIST_" (not connected);
    ///         "VORN_ERR_ALREADY_CONNECTED_" (the link stands); "VORN_ERR_EMPTY_VORN_MEMORY_";
    ///         "VORN_ERR_BUSY_LOCALHOST_".
    Error delegate_link(Msg_num* _msg_num_, double _limit_time);
    /// Asks for the link and returns a `Promise`, never null, for `await_link_return`, which also reports a failure to
    /// send. The failures are those of `delegate_link`.
    Promise_ async_link(double _limit_time);
    /// Blocks until the answer, a lost connection or the limit, then frees the `Promise`. May be called from a
    /// callback. The link stands, on this side, from the return of 0.
    ///
    /// The wait can miss its answer, as described at `Proxy_call`. After "VORN_ERR_LOCAL_TIMEOUT_" the service may have
    /// entered the link although it does not stand here: ask again, which the service accepts.
    /// @param _time_ if not null: receives the seconds since the request.
    /// @return the error that the service returned, 0 for success; "VORN_ERR_LOCAL_TIMEOUT_";
    ///         "VORN_ERR_DISCONNECTED_TCP_"; "VORN_ERR_IS_NOT_CREATED_" (stopped before the wait);
    ///         "VORN_ERR_NULL_RETURN_OBJECT_"; or the failure to send.
    Error await_link_return(Promise_ _promise_, double* _time_ = nullptr);
    /// Ends the link. Without a link, nothing happens.
    void unlink();

    /// Chooses how values are sent. Waits for a send of the timer that runs.
    /// @param _reliability true, the initial setting: no value is dropped on this side. False: a value is dropped while
    ///        another message waits to be sent on the connection, or while more than one message waits in the receiving
    ///        process.
    /// @param _sync_model `on_post`, the initial setting, or `on_timer`.
    /// @param _interval in the model `on_timer`: seconds between two sends of the current value, above 0. The rate does
    ///        not drift, and lasts until the model changes or the member is destroyed. Not used in the model `on_post`.
    void set_sync_model(bool _reliability, Sync_model _sync_model, double _interval);
    /// Returns a block of `_size` bytes for the next value. It belongs to the runtime and may be written until `post`
    /// or `cancel`.
    /// @return null when the client is not started, or was stopped while this thread waited for another writer.
    void* get(Pksize _size);
    /// Gives the block back unsent. Without a block, nothing happens.
    void cancel();
    /// Makes the block the current value. In the model `on_post` it is sent, if the link stands.
    /// @param _size size of the value, at most the size that `get` was asked for.
    /// @return 0, whether or not the value could be sent; "VORN_ERR_IS_NOT_CREATED_"; "VORN_ERR_DONT_GET_" (no block,
    ///         or a `stop` took it away); "VORN_ERR_TOO_BIG_SIZE_", after which the writer still has the block.
    Error post(Pksize _size);
    /// `get`, copy, `post`. Waits for another writer like `get`.
    /// @return as `post`; or "VORN_ERR_EMPTY_VORN_MEMORY_" when the client was stopped while this thread waited for
    ///         another writer.
    Error write(const void* _data_, Pksize _size);

    /// A snapshot of the newest values that were sent, at most `_size` of them, newest first; never null. Pass it to a
    /// `History`, which frees it.
    Letter_case_ see_history(std::size_t _size);
    /// Sets how many values the history keeps; at first 1. The history shrinks when the next value is sent.
    void set_history_size(std::size_t _history_size);
    /// Copies the newest value that was sent.
    /// @param _size_ in: size of the buffer. Out: size of the value if that is smaller. A larger value is cut to the
    ///        buffer.
    /// @return 0; "VORN_ERR_IS_NOT_CREATED_"; "VORN_ERR_EMPTY_HISTORY_".
    Error read(void* _data_, Pksize* _size_);

private:
    friend class _Proxy_command;
    _Proxy_command* const _mp;
};

}  // namespace Vorn35
