/// @file What the fuzzers share: an input taken apart, a service and a client whose callbacks look at all they are
/// given, and the driver, which starts the runtime once in the process and checks it after each input.
#pragma once

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "net/support/objects.h"
#include "programs/member.h"

namespace fuzz {

using namespace Vorn35;
using peer::Member;
using net::operator+;  // not found by argument: these are plain vectors
using net::Bytes;

inline constexpr Msg_code c_member = 1;
inline constexpr std::size_t c_opening = 1024;  ///< Bytes that each side of a connection sends first.

/// A promise of the runtime that was broken: ends the process, so that the fuzzer keeps the input.
inline void require(bool _kept, const char* _promise) {
    if (_kept) return;
    static_cast<void>(std::fprintf(stderr, "broken: %s\n", _promise));
    std::abort();
}
/// Until `_condition` holds, without sleeping while it soon may.
template <class Condition>
void until(Condition _condition, const char* _promise) {
    for (int i = 0; i < 2000; ++i) {
        if (_condition()) return;
        std::this_thread::yield();
    }
    require(net::eventually(_condition), _promise);
}

/// Past the end of the input every number is 0. Numbers are little-endian.
struct Input {
    bool empty() const { return left == 0; }
    /// Fewer at the end of the input.
    Bytes bytes(std::size_t _count) {
        const std::size_t count = std::min(left, _count);
        left -= count;
        return {next, std::exchange(next, next + count) + count};
    }
    std::uint32_t number(std::size_t _size) {
        std::uint32_t value = 0;
        const Bytes taken = bytes(_size);
        if (!taken.empty()) std::memcpy(&value, taken.data(), taken.size());
        return value;
    }
    std::uint8_t byte() { return static_cast<std::uint8_t>(number(1)); }
    std::uint16_t word() { return static_cast<std::uint16_t>(number(2)); }

    const std::uint8_t* next;
    std::size_t left;
};

/// One message, whose size is that of its payload, so that what follows it is read, too. Flags say which of its fields
/// are the fuzzer's. Numbers are counted from `_first_num`, so that an input can name a request whose number it cannot
/// know.
inline net::Wire_message message(Input* _in, std::uint16_t _gport, std::uint16_t _first_num) {
    const std::uint8_t flags = _in->byte();
    net::Wire_message made;
    made.type = _in->byte();
    made.code = _in->byte();
    made.num = static_cast<std::uint16_t>(_first_num + _in->byte());
    made.gport = (flags & 2) != 0 ? _in->word() : _gport;
    if ((flags & 1) != 0) made.limit = _in->word();
    if ((flags & 4) != 0) made.error = _in->number(4);
    if ((flags & 8) != 0) made.time = _in->word();
    made.payload = _in->bytes((flags & 16) != 0 ? _in->word() : _in->byte());
    return made;
}

/// What follows the opening: bytes or messages. An input without an opening (form 0) is all bytes.
enum Form : std::uint8_t { bare, opened, composed };
inline Bytes stream(Input* _in, int _form, std::uint16_t _gport, std::uint16_t _first_num) {
    if (_form != composed) return _in->bytes(_in->left);
    Bytes all;
    while (!_in->empty()) all = std::move(all) + message(_in, _gport, _first_num).bytes();
    return all;
}
/// Sends in pieces whose lengths follow from `_seed` (0: all at once). The runtime reads each piece before the next one
/// is sent, and has processed all of them at the end.
void send_in_pieces(const net::Raw_connection& _to, const Bytes& _bytes, std::uint8_t _seed);
/// By a reset, or orderly; then no header in what the runtime has said from `_first` on promises more than follows.
void end(net::Raw_connection* _connection, bool _resets, std::size_t _first);

/// Nothing that has arrived waits to be read, and no message to be processed.
bool is_quiet();

/// Reads all bytes, so that a sanitizer sees whether they are there. @return what a request gets: some are refused.
Error look_at(const void* _data, Pksize _size);

struct Service : Stub {
    Service() {
        values.set_history_size(2);
        // What it held at the loss of its client would be lost with it.
        commands.set_history_size(0);
        commands.set_sync(true);
        require(start("fuzzed", &port) == 0, "a service starts");
    }
    void tell() {
        static const Bytes value(8 * 1024, 0x55);
        require(events.event(value.data(), 300) == 0 && events.event() == 0, "an event is sent");
        require(values.write(value.data(), value.size()) == 0, "a value is sent");
    }
    void unlink_all() {
        events.unlink_all_proxy();
        values.unlink_all_proxy();
        commands.unlink_all_proxy();
    }
    static int decide(Stub_signal*, Addr, void* _data, Pksize _size, double, double) { return look_at(_data, _size); }

    Port port = 0;
    Member<Stub_call> calls{look_at, c_member, Pksize{512}, *this};
    Member<Stub_signal> signals{look_at, c_member, *this, nullptr};
    Stub_signal decided{Msg_code{2}, *this, &Service::decide};
    Member<Stub_event> events{look_at, c_member, *this};
    Member<Stub_information> values{look_at, c_member, *this};
    Member<Stub_command> commands{look_at, c_member, *this};
};

struct Client : Proxy {
    Client() { values.set_sync(true); }
    /// Asks for every link, by TCP or multicast for the information's. Refused where it is there already, or by a
    /// connection that is gone.
    void link(bool _by_tcp) {
        Msg_num num = 0;
        static_cast<void>(events.delegate_link(&num, 2000));
        static_cast<void>(values.delegate_link(&num, _by_tcp, 2000));
        static_cast<void>(commands.delegate_link(&num, 2000));
    }
    bool is_linked() { return events.is_linked() && values.is_linked() && commands.is_linked(); }
    void unlink_all() {
        events.unlink();
        values.unlink();
        commands.unlink();
    }

    Member<Proxy_call> calls{look_at, c_member, *this};
    Member<Proxy_signal> signals{look_at, c_member, *this};
    Member<Proxy_event> events{look_at, c_member, *this};
    Member<Proxy_information> values{look_at, c_member, *this};
    Proxy_command commands{c_member, *this};
    Member<Proxy_datagram> datagrams{look_at, c_member, *this};
};

/// Runs one input; each fuzzer defines it. Afterwards the driver ends the process unless no message is under way and
/// all connection records and blocks are given back. From time to time it also counts descriptors.
void run(Input _in);

}  // namespace fuzz
