/// @file
/// Client side of a call.
#pragma once

#include <span>
#include <string_view>

#include "Vorn35/Call_result.h"
#include "Vorn35/Promise.h"
#include "Vorn35/Proxy.h"
#include "Vorn35/vorn_export.h"

namespace Vorn35 {

class _Proxy_call;

/// Invokes one operation of a remote `Stub` and brings the answer back.
///
/// Three ways: `delegate_call`, and the answer comes to `on_return`; `async_call`, other work,
/// `await_return`; or `async_call` directly followed by `await_return`. Several calls may be outstanding at
/// once.
///
/// Time limits are in seconds. For "no limit" a `delegate_call` takes the largest double; an `await_return`
/// with such a limit ends at once, as with every limit whose end no system clock can name.
///
/// The wait of `await_return` is one timed wait. An answer that arrives before the wait has begun does not
/// end it: it then runs to its limit and returns "VORN_ERR_LOCAL_TIMEOUT_", although the service answered.
/// Choose limits with that in mind, and repeat the call where it can be repeated, or use `delegate_call`.
///
/// @code
/// double now = 0;
/// Vorn35::Pksize size = sizeof now;
/// const Vorn35::Error err = client.await_return(client.async_call(nullptr, 0, 0.5), &now, &size, nullptr);
/// @endcode
class VORN35_API Proxy_call : public virtual Proxy {
public:
    /// Integrated into an application class that is a `Proxy`.
    explicit Proxy_call(Msg_code _code);
    /// Attached to an existing `Proxy`.
    Proxy_call(Msg_code _code, const Proxy& _proxy_object);
    Proxy_call(const Proxy_call&) = delete;
    ~Proxy_call() override;

    /// The answer of a `delegate_call`; runs on a listener thread.
    /// @param _err 0, the error of the service, or that of its host, for instance "VORN_ERR_NOT_SUPPORT_CODE_".
    /// @param _ret_data_ valid until the return; null when the answer carries no payload.
    /// @param _elapsed_time seconds that the answer has lived.
    virtual void on_return(Msg_num _msg_num, Error _err, const void* _ret_data_, Pksize _ret_size,
                           double _elapsed_time);

    /// Sends, and returns at once. If the answer never comes, `on_return` is never called; a lost connection does not
    /// call it either.
    /// @param _call_data_ copied before the return. Null sends no payload.
    /// @param _limit_time with 0 or less the request is dropped at the far end.
    /// @param _msg_num_ receives the number that `on_return` will name, before the request is sent. Not null.
    /// @return 0, "VORN_ERR_IS_NOT_CREATED_", "VORN_ERR_OBJECT_IS_NOT_EXIST_" (not connected),
    ///         "VORN_ERR_EMPTY_VORN_MEMORY_", "VORN_ERR_BUSY_LOCALHOST_".
    Error delegate_call(Msg_num* _msg_num_, const void* _call_data_, Pksize _call_size, double _limit_time);

    /// Sends, and returns a handle for `await_return`; never null. Failures are those of `delegate_call` and
    /// come out of `await_return`.
    Promise_ async_call(const void* _call_data_, Pksize _call_size, double _limit_time);

    /// Blocks until the answer, a lost connection or the limit, and frees the handle. May be called from a callback.
    /// @param _size_ in: size of the buffer. Out: size of the answer; also when it did not fit. May be null
    ///               for an answer without payload.
    /// @param _time_ if not null: seconds since the call.
    /// @return the service's result; "VORN_ERR_BOUNDOUT_BUFFER_" for an answer that does not fit (it is gone then);
    ///         "VORN_ERR_LOCAL_TIMEOUT_"; "VORN_ERR_DISCONNECTED_TCP_"; "VORN_ERR_IS_NOT_CREATED_";
    ///         "VORN_ERR_NULL_RETURN_OBJECT_"; or the failure of `async_call`.
    Error await_return(Promise_ _promise_, void* _return_data_ = nullptr, Pksize* _size_ = nullptr,
                       double* _time_ = nullptr);

    /// `delegate_call` for bytes.
    Error delegate_call(Msg_num* _msg_num_, std::span<const std::byte> _input, double _limit_time) {
        return delegate_call(_msg_num_, _input.data(), static_cast<Pksize>(_input.size()), _limit_time);
    }
    /// `async_call` for bytes. They are copied before the return.
    Promise_ async_call(std::span<const std::byte> _input, double _limit_time) {
        return async_call(_input.data(), static_cast<Pksize>(_input.size()), _limit_time);
    }
    /// `await_return` for an answer of any size: the result holds the error, the bytes of the answer, and the seconds
    /// since the call.
    Call_result await_result(Promise_ _promise_);
    /// Calls and waits: `async_call`, directly followed by `await_result`.
    /// @param _limit_time seconds. A wait that misses its answer takes all of it.
    Call_result call(std::span<const std::byte> _input, double _limit_time) {
        return await_result(async_call(_input, _limit_time));
    }
    /// `call` with the bytes of a text, without a terminating zero.
    Call_result call(std::string_view _text, double _limit_time) {
        return call(std::as_bytes(std::span(_text)), _limit_time);
    }

    /// Asks the service to give up what it does for this code; ends no wait here.
    void cancel(Error _error);

private:
    _Proxy_call* const _mp;
};

}  // namespace Vorn35
