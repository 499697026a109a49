/// @file
/// How a fuzzer's bytes become actions: read piece by piece, and as messages of the wire.
#pragma once

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "net/support/raw.h"

namespace fuzz {

using net::operator+;  // not found by argument: these are plain vectors
using net::Bytes;

/// A promise of the runtime that was broken: ends the process, so that the fuzzer keeps the input.
inline void require(bool _kept, const char* _promise) {
    if (_kept) return;
    static_cast<void>(std::fprintf(stderr, "broken: %s\n", _promise));
    std::abort();
}

/// Descriptors that a fuzzer opens for itself after its first input: a pair of pipes to a symbolizer.
inline constexpr std::size_t c_fuzzer_files = 2;

/// Past the end of the input every number is 0.
class Input {
public:
    Input(const std::uint8_t* _data, std::size_t _size) : next(_data), left(_size) {}

    bool empty() const { return left == 0; }
    /// Little-endian.
    template <class Number>
    Number number() {
        Number value{};
        const std::size_t count = std::min(left, sizeof value);
        if (count != 0) std::memcpy(&value, take(count), count);
        return value;
    }
    std::uint8_t byte() { return number<std::uint8_t>(); }
    std::uint16_t word() { return number<std::uint16_t>(); }
    /// Fewer at the end of the input.
    Bytes bytes(std::size_t _count) {
        const std::size_t count = std::min(left, _count);
        const std::uint8_t* const from = take(count);
        return {from, from + count};
    }
    Bytes rest() { return bytes(left); }

private:
    const std::uint8_t* take(std::size_t _count) {
        left -= _count;
        return std::exchange(next, next + _count);
    }
    const std::uint8_t* next;
    std::size_t left;
};

/// Flags of a message in an input: which of its fields are the fuzzer's.
enum Own_field : std::uint8_t { own_limit = 1, own_gport = 2, own_error = 4, own_time = 8, long_payload = 16 };

/// One message whose size is that of its payload, so that what follows it is read, too. Numbers are counted from
/// `_first_num`, which lets an input name a request whose number it cannot know.
inline net::Wire_message message(Input* _in, std::uint16_t _gport, std::uint16_t _first_num) {
    const std::uint8_t flags = _in->byte();
    net::Wire_message made;
    made.type = _in->byte();
    made.code = _in->byte();
    made.num = static_cast<std::uint16_t>(_first_num + _in->byte());
    made.gport = (flags & own_gport) != 0 ? _in->word() : _gport;
    if ((flags & own_limit) != 0) made.limit = _in->word();
    if ((flags & own_error) != 0) made.error = _in->number<std::uint32_t>();
    if ((flags & own_time) != 0) made.time = _in->word();
    made.payload = _in->bytes((flags & long_payload) != 0 ? _in->word() : _in->byte());
    return made;
}

/// The rest of the input as messages.
inline Bytes messages(Input* _in, std::uint16_t _gport, std::uint16_t _first_num) {
    Bytes stream;
    while (!_in->empty()) stream = std::move(stream) + message(_in, _gport, _first_num).bytes();
    return stream;
}

/// Bytes that each side sends first.
inline constexpr std::size_t c_opening = 1024;

/// What the runtime said, to its end, and from the first message on: no header promises more than follows.
inline void check_messages(const Bytes& _said, std::size_t _first) {
    std::size_t at = std::min(_said.size(), _first);
    while (at < _said.size()) {
        std::uint32_t size = 0;
        require(_said.size() - at >= 20, "a header is whole");
        std::memcpy(&size, &_said[at + 16], sizeof size);
        require(_said.size() - at - 20 >= size, "a header is followed by its payload");
        at += 20 + size;
    }
}

/// How an input for a stream is meant.
enum Form : std::uint8_t {
    bare,      ///< All bytes, from the first on.
    opened,    ///< What follows a proper opening.
    composed,  ///< Messages that follow a proper opening.
    form_count
};

}  // namespace fuzz
