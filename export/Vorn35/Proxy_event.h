/// @file
/// Client side of an event.
#pragma once

#include "Vorn35/Promise.h"
#include "Vorn35/Proxy.h"
#include "Vorn35/vorn_export.h"

namespace Vorn35 {

class _Proxy_event;

/// A link to one source of events of a remote `Stub`, which delivers the events.
///
/// Ask for the link when the connection is up, best in `on_connect`: by `delegate_link` (the answer comes to
/// `on_link`), or by `async_link` and `await_link_return`. A link ends with its connection; ask again after the next
/// `on_connect`.
///
/// Threads: callbacks run on listener threads with no lock of the runtime held, several at once. Events may overtake
/// each other. The first events can overtake the answer to the link request: `on_event` then runs before `on_link` has
/// returned, and an event that arrives before the link stands here is dropped. Time limits are in seconds.
///
/// @code
/// struct Watcher : Vorn35::Proxy_event {
///     Watcher() : Proxy_event(3) {}
///     void on_connect() override { Vorn35::Msg_num num; delegate_link(&num, 1.0); }
///     void on_event(const void* _event_data_, Vorn35::Pksize _event_size, double) override;
/// };
/// @endcode
class VORN35_API Proxy_event : public virtual Proxy {
public:
    /// Integrated: this object, or an object of a class that derives from it, is itself the `Proxy`. Before its
    /// destructor begins, call `stop_and_wait`: see `~Proxy_event`.
    explicit Proxy_event(Msg_code _code);
    /// Attached to another object, a `Proxy` that is not started. Before its destructor begins, call `stop_and_wait`:
    /// see `~Proxy_event`.
    Proxy_event(Msg_code _code, const Proxy& _proxy_object);
    Proxy_event(const Proxy_event&) = delete;
    /// Removes the member. An attached member first stops the whole `Proxy`. Destroying an object of a derived class
    /// while a callback runs is a data race on its vtable: first call `stop_and_wait`, or let it outlive `finalize`.
    ~Proxy_event() override;

    /// The link has ended: the service ended it (0), or the connection is lost ("VORN_ERR_DISCONNECTED_TCP_";
    /// `on_disconnect` follows). Not called for an end that this side asked for.
    virtual void on_unlink(Error _err);
    /// An event of the service.
    /// @param _event_data_ the payload, valid until the callback returns; null when there is none.
    /// @param _elapsed_time age of the event in seconds.
    virtual void on_event(const void* _event_data_, Pksize _event_size, double _elapsed_time);
    /// The answer to a `delegate_link`. Runs on a listener thread.
    /// @param _msg_num the number that `delegate_link` gave to the request.
    /// @param _err 0: the service accepted. Otherwise the error of the service or of its process.
    /// @param _time_ age of the exchange in seconds, as both ends have counted it.
    virtual void on_link(Msg_num _msg_num, Error _err, double _time_);

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
    /// Ends the link. Events that are still on their way are dropped; an `on_event` that runs is not waited for.
    /// Without a link, nothing happens.
    void unlink();

private:
    _Proxy_event* const _mp;
};

}  // namespace Vorn35
