/// @file
/// Errors of the typed layer as values: `Failure`, and `Result`, which is a value or a failure.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <variant>

#include "Vorn35/vorn_error.h"
#include "Vorn35/vorn_typedef.h"

/// Members of Vorn35 whose payloads are Protocol Buffers messages. See docs/types.md.
namespace Vorn35::typed {

/// The receiver could not read the payload as the message of its interface file. Travels as the error of a call or a
/// signal; the runtime itself does not know it.
inline constexpr Error VORN_ERR_MALFORMED_PAYLOAD_ = static_cast<Error>(0xE0000000U);
/// The client gave up the call before its handler ran.
inline constexpr Error VORN_ERR_CANCELLED_ = static_cast<Error>(0xE0000001U);

/// Name of a result code of the runtime or of the typed layer, as `get_err_str`.
const char* get_error_name(Error _error);

/// Why there is no value: an error of the runtime or of the typed layer, or one of the service with a code and a text of its
/// own.
struct Failure {
    Error error = 0;        ///< Of the runtime or the typed layer; 0 for an error of the service.
    std::int32_t code = 0;  ///< The service's own; 0 for an error of the runtime.
    std::string text;       ///< What happened, in words; may be empty.

    /// A failure without an error, for assignment.
    Failure() = default;
    /// An error of the service itself, for the `return` of a handler.
    Failure(std::int32_t _code, std::string _text) : code(_code), text(std::move(_text)) {}
    /// An error of the runtime.
    static Failure of_runtime(Error _error, std::string _text = {}) {
        Failure failure;
        failure.error = _error;
        failure.text = std::move(_text);
        return failure;
    }

    /// Whether the service returned it, and not the runtime.
    bool is_of_service() const { return error == 0; }
    /// For people: "VORN_ERR_LOCAL_TIMEOUT_" or "7: no such room".
    std::string message() const;
};

/// A value or a failure.
///
/// @code
/// const Vorn35::typed::Result<Temperature> answer = client.read(query);
/// if (answer) print(answer->degrees()); else print(answer.failure().message());
/// @endcode
template <class T>
class [[nodiscard]] Result {
public:
    /// A value.
    Result(T _value) : content(std::in_place_index<0>, std::move(_value)) {}
    /// A failure.
    Result(Failure _failure) : content(std::in_place_index<1>, std::move(_failure)) {}

    /// Whether there is a value.
    explicit operator bool() const { return content.index() == 0; }
    /// The value. Throws `std::bad_variant_access` if there is none.
    T& operator*() { return std::get<0>(content); }
    /// As above.
    const T& operator*() const { return std::get<0>(content); }
    /// As above.
    T* operator->() { return &std::get<0>(content); }
    /// As above.
    const T* operator->() const { return &std::get<0>(content); }
    /// The failure. Throws `std::bad_variant_access` if there is a value.
    const Failure& failure() const { return std::get<1>(content); }

private:
    std::variant<T, Failure> content;
};

/// Success without a value, or a failure.
template <>
class [[nodiscard]] Result<void> {
public:
    /// Success.
    Result() = default;
    /// A failure.
    Result(Failure _failure) : is_failure(true), content(std::move(_failure)) {}
    /// Success for 0, otherwise the failure with this error of the runtime.
    static Result of_runtime(Error _error) { return _error == 0 ? Result() : Result(Failure::of_runtime(_error)); }

    /// Whether it succeeded.
    explicit operator bool() const { return !is_failure; }
    /// The failure; empty after success.
    const Failure& failure() const { return content; }

private:
    bool is_failure = false;
    Failure content;
};

}  // namespace Vorn35::typed
