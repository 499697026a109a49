/// @file
/// Client side of an event.
#pragma once

#include "Vorn35/Promise.h"
#include "Vorn35/Proxy.h"
#include "Vorn35/vorn_export.h"

namespace Vorn35 {

class _Proxy_event;

/// A link to one source of events of a remote `Stub`, and what comes over it.
///
/// A link is asked for once the connection is up, best in `on_connect`, by `delegate_link` (the answer comes
/// to `on_link`) or by `async_link` and `await_link_return`. It ends with the connection and does not come
/// back by itself.
///
/// Threads: callbacks run on listener threads with no lock held, several at once: two events may overtake
/// each other. Time limits are in seconds. The wait of `await_link_return` is one timed wait with the
/// property told at `Proxy_call`.
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
    /// Integrated into an application class that is a `Proxy`.
    explicit Proxy_event(Msg_code _code);
    /// Attached to an existing `Proxy`.
    Proxy_event(Msg_code _code, const Proxy& _proxy_object);
    Proxy_event(const Proxy_event&) = delete;
    ~Proxy_event() override;

    /// The link has ended without our asking: by the service (0), or with the connection
    /// ("VORN_ERR_DISCONNECTED_TCP_"; `on_disconnect` follows).
    virtual void on_unlink(Error _err);
    /// An event of the service.
    /// @param _event_data_ valid until the return; null when there is no payload.
    /// @param _elapsed_time seconds that the event has lived.
    virtual void on_event(const void* _event_data_, Pksize _event_size, double _elapsed_time);
    /// The answer of a `delegate_link`.
    /// @param _err 0: the link stands. Otherwise the refusal of the service or of its host.
    /// @param _time_ seconds that the answer has lived.
    virtual void on_link(Msg_num _msg_num, Error _err, double _time_);

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
    /// Ends the link. Events that are still under way are dropped. Nothing happens when there is none.
    void unlink();

private:
    _Proxy_event* const _mp;
};

}  // namespace Vorn35
