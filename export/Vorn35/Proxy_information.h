/// @file
/// Client side of an information.
#pragma once

#include "Vorn35/History.h"
#include "Vorn35/Promise.h"
#include "Vorn35/Proxy.h"
#include "Vorn35/vorn_export.h"

namespace Vorn35 {

class _Proxy_information;

/// Follows one value that a remote `Stub` publishes. The link is reliable (TCP) or unreliable (multicast). The latest
/// values are kept in a history, and each value is passed to `on_sync` unless `set_sync(false)`.
///
/// Ask for the link as described at `Proxy_event`. The history ends with the link.
///
/// Threads: callbacks run on listener threads with no lock of the runtime held, several at once. Values may overtake
/// each other, also in the history, and the first of them can overtake `on_link`. Callbacks may read the history. Time
/// limits are in seconds.
///
/// @code
/// struct Dial : Vorn35::Proxy_information {
///     Dial() : Proxy_information(4) {}
///     void on_connect() override { Vorn35::Msg_num num; delegate_link(&num, true, 1.0); }
///     void on_sync(Vorn35::Sync_model, double, double, const void* _buffer_, Vorn35::Pksize _size) override;
/// };
/// @endcode
class VORN35_API Proxy_information : public virtual Proxy {
public:
    /// Integrated: this object, or an object of a class that derives from it, is itself the `Proxy`. Before its
    /// destructor begins, call `stop_and_wait`: see `~Proxy_information`.
    explicit Proxy_information(Msg_code _code);
    /// Attached to another object, a `Proxy` that is not started. Before its destructor begins, call `stop_and_wait`:
    /// see `~Proxy_information`.
    Proxy_information(Msg_code _code, const Proxy& _proxy_object);
    Proxy_information(const Proxy_information&) = delete;
    /// Removes the member. An attached member first stops the whole `Proxy`. Destroying an object of a derived class
    /// while a callback runs is a data race on its vtable: first call `stop_and_wait`, or let it outlive `finalize`.
    ~Proxy_information() override;

    /// The link has ended: the service ended it (0), or the connection is lost ("VORN_ERR_DISCONNECTED_TCP_";
    /// `on_disconnect` follows). Not called for an end that this side asked for. The history is empty.
    virtual void on_unlink(Error _err);
    /// The answer to a `delegate_link`. Runs on a listener thread.
    /// @param _msg_num the number that `delegate_link` gave to the request.
    /// @param _err 0: the service accepted. Otherwise the error of the service or of its process.
    /// @param _time_ age of the exchange in seconds, as both ends have counted it.
    virtual void on_link(Msg_num _msg_num, Error _err, double _time_);
    /// A new value, which is already in the history.
    /// @param _sync_model how the service publishes.
    /// @param _elapsed_time age of the value in seconds.
    /// @param _limit seconds that the value is valid; very large in the model `on_post`.
    /// @param _buffer_ the value, valid until the callback returns; null when it is empty.
    virtual void on_sync(Sync_model _sync_model, double _elapsed_time, double _limit, const void* _buffer_,
                         Pksize _size);

    /// Whether the link stands, as far as this side knows.
    bool is_linked();
    /// Asks for the link and returns at once; the answer comes to `on_link`.
    /// @param _msg_num_ receives the number of the request before it is sent. Not null.
    /// @param _reliability true: by TCP; false: by multicast.
    /// @param _limit_time seconds; the service sees it as well.
    /// @return 0; "VORN_ERR_IS_NOT_CREATED_"; "VORN_ERR_OBJECT_IS_NOT_EXIST_" (not connected);
    ///         "VORN_ERR_ALREADY_CONNECTED_" (the link stands); "VORN_ERR_EMPTY_VORN_MEMORY_";
    ///         "VORN_ERR_BUSY_LOCALHOST_".
    Error delegate_link(Msg_num* _msg_num_, bool _reliability, double _limit_time);
    /// Asks for the link and returns a `Promise`, never null, for `await_link_return`, which also reports a failure to
    /// send. The failures are those of `delegate_link`.
    Promise_ async_link(bool _reliability, double _limit_time);
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
    /// Ends the link and empties the history. An `on_sync` that runs is not waited for.
    void unlink();

    /// Switches `on_sync` on or off; at first it is on. The history is kept in both cases.
    void set_sync(bool _use_on_sync);
    /// Sets how many values the history keeps; at first 1. The history shrinks when the next value arrives.
    void set_history_size(std::size_t _history_size);
    /// A snapshot of the newest values, at most `_size` of them, newest first; null when there is no link. Pass it to a
    /// `History`, which frees it.
    Letter_case_ see_history(std::size_t _size);
    /// Copies the newest value.
    /// @param _size_ in: size of the buffer. Out: size of the value if that is smaller. A larger value is cut to the
    ///        buffer.
    /// @return 0; "VORN_ERR_IS_NOT_CREATED_"; "VORN_ERR_EMPTY_HISTORY_" (no value yet, or no link).
    Error read(void* _data_, Pksize* _size_);

private:
    _Proxy_information* const _mp;
};

}  // namespace Vorn35
