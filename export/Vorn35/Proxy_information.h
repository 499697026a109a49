/// @file
/// Client side of an information.
#pragma once

#include "Vorn35/History.h"
#include "Vorn35/Promise.h"
#include "Vorn35/Proxy.h"
#include "Vorn35/vorn_export.h"

namespace Vorn35 {

class _Proxy_information;

/// Follows one value that a remote `Stub` publishes: over a link, reliable (TCP) or unreliable (multicast),
/// with the latest values kept in a history and, if wanted, each of them told to `on_sync`.
///
/// The link is asked for and ends as that of `Proxy_event` does; the history ends with it.
///
/// Threads: callbacks run on listener threads with no lock held, several at once: two values may overtake
/// each other. They may read the history. Time limits are in seconds. The wait of `await_link_return` is one
/// timed wait with the property told at `Proxy_call`.
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
    /// Integrated into an application class that is a `Proxy`.
    explicit Proxy_information(Msg_code _code);
    /// Attached to an existing `Proxy`.
    Proxy_information(Msg_code _code, const Proxy& _proxy_object);
    Proxy_information(const Proxy_information&) = delete;
    ~Proxy_information() override;

    /// The link has ended without our asking: by the service (0), or with the connection
    /// ("VORN_ERR_DISCONNECTED_TCP_"; `on_disconnect` follows). The history is empty.
    virtual void on_unlink(Error _err);
    /// The answer of a `delegate_link`.
    /// @param _err 0: the link stands. Otherwise the refusal of the service or of its host.
    /// @param _time_ seconds that the answer has lived.
    virtual void on_link(Msg_num _msg_num, Error _err, double _time_);
    /// A new value; it is in the history already.
    /// @param _sync_model how the service publishes.
    /// @param _elapsed_time age of the value in seconds.
    /// @param _limit seconds that the value is good for; very large in the model `on_post`.
    /// @param _buffer_ valid until the return; null when the value is empty.
    virtual void on_sync(Sync_model _sync_model, double _elapsed_time, double _limit, const void* _buffer_,
                         Pksize _size);

    /// Whether the link stands.
    bool is_linked();
    /// Asks for the link, and returns at once.
    /// @param _msg_num_ receives the number that `on_link` will name, before the request is sent. Not null.
    /// @param _reliability true: by TCP; false: by multicast.
    /// @param _limit_time the service sees it, too.
    /// @return 0, "VORN_ERR_IS_NOT_CREATED_", "VORN_ERR_OBJECT_IS_NOT_EXIST_" (not connected),
    ///         "VORN_ERR_ALREADY_CONNECTED_" (the link stands), "VORN_ERR_EMPTY_VORN_MEMORY_",
    ///         "VORN_ERR_BUSY_LOCALHOST_".
    Error delegate_link(Msg_num* _msg_num_, bool _reliability, double _limit_time);
    /// Asks for the link, and returns a handle for `await_link_return`; never null. Failures are those of
    /// `delegate_link` and come out of `await_link_return`.
    Promise_ async_link(bool _reliability, double _limit_time);
    /// Blocks until the answer, a lost connection or the limit, and frees the handle. May be called from a
    /// callback.
    /// @param _time_ if not null: seconds since the request.
    /// @return the service's result; "VORN_ERR_LOCAL_TIMEOUT_"; "VORN_ERR_DISCONNECTED_TCP_";
    ///         "VORN_ERR_IS_NOT_CREATED_"; "VORN_ERR_NULL_RETURN_OBJECT_"; or the failure of `async_link`.
    Error await_link_return(Promise_ _promise_, double* _time_);
    /// Ends the link and empties the history.
    void unlink();

    /// Whether `on_sync` is called, as it is at first. The history is kept in any case.
    void set_sync(bool _use_on_sync);
    /// The most values that the history keeps, 1 at first. It shrinks with the next value.
    void set_history_size(std::size_t _history_size);
    /// The newest values, at most so many, newest first; null when there is no link. For a `History`, which
    /// frees it.
    Letter_case_ see_history(std::size_t _size);
    /// Copies the newest value.
    /// @param _size_ in: size of the buffer. Out: size of the value if that is smaller; a larger one is cut.
    /// @return 0, "VORN_ERR_IS_NOT_CREATED_", "VORN_ERR_EMPTY_HISTORY_" (no value yet, or no link).
    Error read(void* _data_, Pksize* _size_);

private:
    _Proxy_information* const _mp;
};

}  // namespace Vorn35
