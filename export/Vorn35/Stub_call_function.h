/// @file
/// Service side of a call whose handler is a function.
#pragma once

#include <cstring>
#include <functional>
#include <utility>

#include "Vorn35/Call_result.h"
#include "Vorn35/Stub_call.h"

namespace Vorn35 {

/// A `Stub_call` that needs no class of your own: a function takes the request and returns the answer.
///
/// Everything said at `Stub_call` holds: the function runs on a listener thread with no lock held, one call of a code
/// at a time, and must not throw. The runtime allocates a block of `_max_return_size` bytes for each request before the
/// function runs; the answer is copied into it. For large answers, override `Stub_call::on_call`, which writes in
/// place.
///
/// @code
/// Vorn35::Stub_call_function echo(1, [](const Vorn35::Call_request& _request) -> Vorn35::Call_result {
///     if (_request.bytes.empty()) return 5;  // an error of your own
///     return _request.bytes;
/// });
/// Vorn35::Port port = 0;
/// echo.start("echo", &port);
/// @endcode
class Stub_call_function : public Stub_call {
public:
    /// Returns the answer, or an error that the client receives instead of an answer.
    using Handler = std::function<Call_result(const Call_request&)>;

    /// A call with a `Stub` of its own.
    /// @param _max_return_size the most bytes of an answer. The client of a larger answer receives
    ///        "VORN_ERR_TOO_BIG_SIZE_".
    Stub_call_function(Msg_code _code, Handler _handler, Pksize _max_return_size = 64 * 1024)
        : Stub_call(_code, _max_return_size), handler(std::move(_handler)) {}
    /// Attached to an existing `Stub`, which is not started yet.
    Stub_call_function(Msg_code _code, const Stub& _stub, Handler _handler, Pksize _max_return_size = 64 * 1024)
        : Stub_call(_code, _max_return_size, _stub), handler(std::move(_handler)) {}

private:
    Error on_call(Addr _proxy_addr, const void* _in_buf_, Pksize _in_buf_size, void* _out_buf_, Pksize* _out_buf_size_,
                  double _elapsed_time, double _packet_limit_time) final {
        const std::span input(static_cast<const std::byte*>(_in_buf_), _in_buf_ == nullptr ? 0 : _in_buf_size);
        const Call_result result = handler({_proxy_addr, input, _elapsed_time, _packet_limit_time});
        if (result.error != 0) return result.error;
        if (result.bytes.size() > *_out_buf_size_) return VORN_ERR_TOO_BIG_SIZE_;
        if (!result.bytes.empty()) std::memcpy(_out_buf_, result.bytes.data(), result.bytes.size());
        *_out_buf_size_ = static_cast<Pksize>(result.bytes.size());
        return VORN_ERR_NONE_;
    }

    const Handler handler;
};

}  // namespace Vorn35
