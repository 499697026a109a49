/// @file
/// Messages as payloads: what both ends of the typed layer share.
#pragma once

#include <google/protobuf/message_lite.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>

#include "Vorn35/History.h"
#include "Vorn35/protobuf/Result.h"

namespace Vorn35::typed {

/// A message of the interface.
using Message = google::protobuf::MessageLite;
/// A payload.
using Bytes = std::span<const std::byte>;

/// The largest message in bytes. The sending side refuses larger ones with "VORN_ERR_TOO_BIG_SIZE_".
inline constexpr std::size_t c_largest_message = std::size_t{64} << 20;

/// A serialised message. Small ones need no allocation.
class Encoded {
public:
    /// Serialises the message, after a number of bytes that stay free for a prefix.
    /// @param _largest the most bytes of the message.
    explicit Encoded(const Message& _message, std::size_t _prefix = 0, std::size_t _largest = c_largest_message);
    Encoded(const Encoded&) = delete;
    Encoded& operator=(const Encoded&) = delete;

    /// Success, or why it was not serialised: too large, or a required field is missing.
    const Result<void>& result() const { return outcome; }
    /// The bytes, the prefix included.
    Bytes bytes() const { return {begin, count}; }
    /// The same as a pointer, for the operations of the runtime.
    const void* data() const { return begin; }
    /// Number of bytes, the prefix included.
    Pksize size() const { return static_cast<Pksize>(count); }
    /// The bytes before the message, to be written.
    std::byte* prefix() { return begin; }

private:
    std::array<std::byte, 1536> small;
    std::unique_ptr<std::byte[]> large;
    std::byte* begin = nullptr;
    std::size_t count = 0;
    Result<void> outcome;
};

/// Whether a message can be sent: it has its required fields, and `_size`, its size, is not too large.
Result<void> check_message(const Message& _message, std::size_t _size, std::size_t _largest = c_largest_message);
/// Reads a payload. False: it is not this message.
bool decode(Bytes _bytes, Message* _message_);
/// A payload as the runtime passes it, where null means empty.
inline Bytes payload(const void* _data, Pksize _size) {
    return {static_cast<const std::byte*>(_data), _data == nullptr ? 0 : _size};
}

/// The failure for a payload that is not the message.
Failure malformed(const Message& _message);
/// The same, counted. @param _kind of the member that received it.
Failure count_malformed(const Message& _message, Transaction _kind);

/// Whether an answer is a failure, and which.
bool is_failure(Error _error, Bytes _bytes, Failure* _failure_);
/// The envelope of a failure, as a payload.
std::string encode_failure(const Failure& _failure);

/// A message, or the failure for a payload that is none, counted.
template <class T>
Result<T> take(Bytes _bytes, Transaction _kind) {
    T message;
    if (!decode(_bytes, &message)) return count_malformed(message, _kind);
    return message;
}

/// The answer of a call: a message, or the failure in its envelope.
template <class T>
Result<T> take_answer(Error _error, Bytes _bytes) {
    Failure failure;
    if (is_failure(_error, _bytes, &failure)) return failure;
    T message;
    if (!decode(_bytes, &message)) return count_malformed(message, 1);
    return message;
}

/// A snapshot of values, newest first. Each is read when it is asked for.
///
/// @code
/// const auto history = client.current.history(10);
/// for (std::size_t i = 0; i < history.size(); ++i) if (const auto reading = history[i]) use(*reading);
/// @endcode
template <class T>
class History {
public:
    /// Takes ownership of the snapshot.
    explicit History(Letter_case_ _snapshot) : values(_snapshot) {}

    /// Number of values.
    std::size_t size() const { return values.size(); }
    /// True when there is no value.
    bool empty() const { return values.empty(); }
    /// The value at an index; 0 is the newest. A failure for an index that is too large, or a payload that is not the
    /// message.
    Result<T> operator[](std::size_t _index) const {
        if (_index >= size()) return Failure::of_runtime(VORN_ERR_EMPTY_HISTORY_);
        const THistory_elem<void> value = values[static_cast<unsigned int>(_index)];
        T message;
        if (!decode(payload(value.buffer_, value.size), &message)) return malformed(message);
        return message;
    }
    /// When the value at an index arrived: a tick of `get_cpu_clock`.
    Clock clock(std::size_t _index) const { return values[static_cast<unsigned int>(_index)].clock; }

private:
    Vorn35::History values;
};

}  // namespace Vorn35::typed
