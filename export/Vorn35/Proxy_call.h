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

/// Calls one operation of a remote `Stub` and receives the answer. A call runs at most once; it is never repeated by
/// the runtime. There are three ways:
/// - `call` blocks until the answer and returns it with its bytes.
/// - `async_call` returns a `Promise`; do other work, then take the answer by `await_result` or `await_return`.
/// - `delegate_call` returns at once, and the answer comes to `on_return`.
///
/// Several calls may be outstanding at once. Time limits are in seconds and cover the whole exchange.
///
/// **A wait can miss its answer.** `call`, `await_result` and `await_return` do one timed wait. An answer that arrives
/// before the wait has begun does not end it: the wait lasts until the limit and returns "VORN_ERR_LOCAL_TIMEOUT_",
/// although the service ran the call. So choose short limits and repeat calls that may run twice, or use
/// `delegate_call`, which has no such gap (docs/lost.md). `Runtime_options::exact_waits` closes the gap, and makes the
/// largest double mean no limit.
///
/// **No limit.** For `delegate_call`, the largest double means no limit. A wait with such a limit ends at once with
/// "VORN_ERR_LOCAL_TIMEOUT_", as with every limit whose end does not fit in the system clock.
///
/// @code
/// const Vorn35::Call_result answer = client.call("hello", 0.5);
/// if (answer.error == 0) print(answer.text());
///
/// double now = 0;  // the same without an allocation
/// Vorn35::Pksize size = sizeof now;
/// const Vorn35::Error err = client.await_return(client.async_call(nullptr, 0, 0.5), &now, &size);
/// @endcode
class VORN35_API Proxy_call : public virtual Proxy {
public:
    /// Integrated: this object, or an object of a class that derives from it, is itself the `Proxy`. Before its
    /// destructor begins, call `stop_and_wait`: see `~Proxy_call`.
    explicit Proxy_call(Msg_code _code);
    /// Attached to another object, a `Proxy` that is not started. Before its destructor begins, call `stop_and_wait`:
    /// see `~Proxy_call`.
    Proxy_call(Msg_code _code, const Proxy& _proxy_object);
    Proxy_call(const Proxy_call&) = delete;
    /// Removes the member. An attached member first stops the whole `Proxy`. Destroying an object of a derived class
    /// while a callback runs is a data race on its vtable: first call `stop_and_wait`, or let it outlive `finalize`.
    ~Proxy_call() override;

    /// The answer to a `delegate_call`. Runs on a listener thread, and can run before `delegate_call` returns. The
    /// answers to several calls may come in another order, and in parallel.
    /// @param _msg_num the number that `delegate_call` gave to the request.
    /// @param _err 0; the error that the service returned; or an error of its process, for instance
    ///        "VORN_ERR_NOT_SUPPORT_CODE_".
    /// @param _ret_data_ the answer, valid until the callback returns; null when it has no payload.
    /// @param _elapsed_time seconds that the messages of the exchange have waited for listeners, at both ends. `on_call`,
    ///        queues of connections and the network are not part of it.
    virtual void on_return(Msg_num _msg_num, Error _err, const void* _ret_data_, Pksize _ret_size,
                           double _elapsed_time);

    /// Sends a request and returns at once; the answer comes to `on_return`. If no answer comes, for instance because
    /// the connection is lost, `on_return` is not called.
    ///
    /// **Pace the calls.** A loop of `delegate_call` without a pause overruns the pipe of 16 waiting messages of the
    /// receiving process, which drops the rest without an error (of a loop of 200 calls, 17 answers came back in one
    /// run). Keep at most about 10 messages to one process outstanding by counting the answers, and repeat what stays
    /// without an answer; see docs/lost.md.
    /// @param _msg_num_ receives the number of the request before it is sent. Not null.
    /// @param _call_data_ the payload, copied before the return. Null sends no payload.
    /// @param _limit_time seconds. With 0 or less the receiving process drops the request.
    /// @return 0, "VORN_ERR_IS_NOT_CREATED_", "VORN_ERR_OBJECT_IS_NOT_EXIST_" (not connected),
    ///         "VORN_ERR_EMPTY_VORN_MEMORY_", "VORN_ERR_BUSY_LOCALHOST_".
    Error delegate_call(Msg_num* _msg_num_, const void* _call_data_, Pksize _call_size, double _limit_time);

    /// Sends a request and returns a `Promise`, never null, for `await_return` or `await_result`. These also report a
    /// failure to send; the failures are those of `delegate_call`.
    /// @param _call_data_ the payload, copied before the return. Null sends no payload.
    /// @param _limit_time seconds, counted from here. Also ends the wait.
    Promise_ async_call(const void* _call_data_, Pksize _call_size, double _limit_time);

    /// Blocks until the answer, a lost connection or the limit, then frees the `Promise`. May be called from a
    /// callback. A `stop` does not end the wait.
    /// @param _return_data_ receives the answer. May be null for an answer without payload.
    /// @param _size_ in: size of the buffer. Out: size of the answer, also when the buffer is too small; 0 after a lost
    ///        connection. Unchanged after a timeout, an error of the service, or for a payload without a buffer. May be
    ///        null for an answer without payload.
    /// @param _time_ if not null: receives the seconds since the call.
    /// @return the error that the service returned, 0 for success; "VORN_ERR_BOUNDOUT_BUFFER_" (the buffer is too small
    ///         or null; the answer is lost); "VORN_ERR_LOCAL_TIMEOUT_"; "VORN_ERR_DISCONNECTED_TCP_";
    ///         "VORN_ERR_IS_NOT_CREATED_" (stopped before the wait); "VORN_ERR_NULL_RETURN_OBJECT_"; or the failure to
    ///         send.
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
    /// `await_return` for an answer of any size. The result holds the error, the bytes of the answer, and the seconds
    /// since the call.
    Call_result await_result(Promise_ _promise_);
    /// `async_call`, then at once `await_result`.
    /// @param _limit_time seconds. A wait that misses its answer lasts that long.
    Call_result call(std::span<const std::byte> _input, double _limit_time) {
        return await_result(async_call(_input, _limit_time));
    }
    /// `call` with the bytes of a text, without a terminating zero.
    Call_result call(std::string_view _text, double _limit_time) {
        return call(std::as_bytes(std::span(_text)), _limit_time);
    }

    /// Calls `on_call_cancel` of the service. It runs after the handler of this code that is running, names no call,
    /// and ends no wait on this side.
    void cancel(Error _error);

private:
    _Proxy_call* const _mp;
};

}  // namespace Vorn35
