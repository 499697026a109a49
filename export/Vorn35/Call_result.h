/// @file
/// Requests and answers of a call as bytes or text, for `Proxy_call::call` and `Stub_call_function`.
#pragma once

#include <cstddef>
#include <span>
#include <string_view>
#include <vector>

#include "Vorn35/vorn_error.h"
#include "Vorn35/vorn_typedef.h"

namespace Vorn35 {

/// The bytes seen as text. The text ends where the bytes end; there is no terminating zero.
inline std::string_view as_text(std::span<const std::byte> _bytes) {
    return {reinterpret_cast<const char*>(_bytes.data()), _bytes.size()};
}

/// The outcome of a call: what `Proxy_call::call` returns, and what a handler of `Stub_call_function` returns.
/// It owns its bytes.
struct Call_result {
    Error error = VORN_ERR_NONE_;  ///< 0: the call succeeded. Otherwise the failure.
    std::vector<std::byte> bytes;  ///< Payload of the answer; empty when the answer has none.
    double seconds = 0;            ///< Client: time from the request to the answer. A service leaves it alone.

    /// Success without payload.
    Call_result() = default;
    /// A failure, or with 0 success without payload.
    Call_result(Error _error) : error(_error) {}
    /// Success with a copy of the bytes.
    Call_result(std::span<const std::byte> _bytes) : bytes(_bytes.begin(), _bytes.end()) {}
    /// Success with a copy of the text, without a terminating zero.
    Call_result(std::string_view _text) : Call_result(std::as_bytes(std::span(_text))) {}

    /// The payload as text; valid as long as `bytes` is.
    std::string_view text() const { return as_text(bytes); }
};

/// A request as a handler of `Stub_call_function` sees it. The bytes are valid until the handler returns.
struct Call_request {
    Addr client;                       ///< Who calls.
    std::span<const std::byte> bytes;  ///< Payload of the request; empty when the request has none.
    double elapsed = 0;                ///< Seconds since the client sent the request.
    double limit = 0;                  ///< Seconds that the client still waits.

    /// The payload as text; valid until the handler returns.
    std::string_view text() const { return as_text(bytes); }
};

}  // namespace Vorn35
