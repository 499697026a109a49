/// @file
/// Scalar types, addresses and enumerations of the whole interface.
#pragma once

#include <compare>
#include <cstdint>

namespace Vorn35 {

/// Port number in host byte order.
using Port = std::uint16_t;
/// IPv4 address in network byte order, as `inet_addr` gives it: 127.0.0.1 is 0x0100007F.
using IP = std::uint32_t;
/// Selects one member (call, signal, event, ...) of a `Stub`. Each kind has codes of its own.
using Msg_code = std::uint16_t;
/// Number of one request. It wraps at 16 bits; 0 is a valid number.
using Msg_num = std::uint16_t;
/// Payload size in bytes.
using Pksize = std::uint32_t;
/// Result code: 0 is success. See `vorn_error.h`.
using Error = std::int32_t;
/// Kind of a member: 1 call, 2 signal, 3 event, 4 command, 5 information, 6 datagram; 0 none.
using Transaction = std::uint8_t;
/// Protocol version; occupies 3 bits on the wire.
using Version = std::uint8_t;
/// Occupies 5 bits on the wire; always 0.
using Priority = std::uint8_t;
/// Tick count of `get_cpu_clock`: nanoseconds of the steady clock.
using Clock = std::uint64_t;

/// TCP or UDP address of a `Stub`, or of one end of a connection. Ordered by `port`, then by `ip`.
struct Addr {
    IP ip = 0;      ///< The host.
    Port port = 0;  ///< The port on it.

    constexpr Addr() = default;
    /// An address of a host and a port.
    constexpr Addr(IP _ip, Port _port) : ip(_ip), port(_port) {}

    /// Equal host and port.
    friend constexpr bool operator==(const Addr& _a, const Addr& _b) = default;
    /// By `port`, then by `ip`.
    friend constexpr std::strong_ordering operator<=>(const Addr& _a, const Addr& _b) {
        if (const auto by_port = _a.port <=> _b.port; by_port != 0) return by_port;
        return _a.ip <=> _b.ip;
    }
};

/// Ordering key of messages: see `vorn_serial_parallel.h`.
struct Msg_addr {
    /// Destination port of the message. For a message to a `Stub`, the port of the `Stub`.
    Port port = 0;
    Msg_code code = 0;  ///< Code of the member.
    Transaction transaction =
        0;  ///< Kind of the member: 1 call, 2 signal, 3 event, 4 command, 5 information, 6 datagram.

    constexpr Msg_addr() = default;
    /// A key of a port, a code and a kind.
    constexpr Msg_addr(Port _port, Msg_code _code, Transaction _transaction)
        : port(_port), code(_code), transaction(_transaction) {}

    /// By `port`, then by `code`, then by `transaction`.
    friend constexpr auto operator<=>(const Msg_addr& _a, const Msg_addr& _b) = default;
};

/// When a value (information, command) is sent to its receivers.
enum Sync_model : std::uint8_t {
    on_post = 0,   ///< At each `post`.
    on_timer = 1,  ///< At a fixed rate.
};

}  // namespace Vorn35
