/// @file
/// What the runtime counts: traffic, and each reason for which something is lost.
///
/// Any thread counts at any time, without a lock; a count is one relaxed addition. Counters live from the start of the
/// process to its end, over all lives of the runtime. `statistics` (Statistics.h) gives them out under their names.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>

#include "Vorn/typedef.h"
#include "Vorn35/Statistics.h"

namespace Vorn35::counters {

/// The label `kind`.
enum class Kind : std::uint8_t {
    call,
    signal,
    event,
    information,
    command,
    datagram,
    directory,
    heartbeat,
    notice,
    other
};
inline constexpr std::size_t c_kinds = 10;

/// A notice is the relay's word to the processor about a connection; it never travels.
Kind kind_of(EMsg _type);

/// Counters that exist once for each kind. Beside each stands who counts.
enum class By_kind : std::uint8_t {
    received,           ///< Receive workers.
    received_bytes,     ///< Header and payload. Receive workers.
    sent,               ///< Send workers, when the kernel has taken all of the message.
    sent_bytes,         ///< As above.
    refused,            ///< The pipe was above its bound. Receive workers.
    expired,            ///< The limit had passed when a listener took the message.
    unaddressed,        ///< There was no object for it.
    queue_dropped,      ///< Dropped from the queue of an ordering key.
    droppable_dropped,  ///< A value that may be dropped met a connection with something queued.
    undelivered,        ///< Queued for a connection that ended.
    unsent,             ///< No connection to the addressee, or the connection is closing.
    send_bound,         ///< More bytes than `Runtime_options::send_bytes` would wait on the connection.
    malformed,          ///< A payload that its receiver could not read. `count_malformed_payload`.
};
inline constexpr std::size_t c_by_kind = 13;

enum class Counter : std::uint8_t {
    connects_failed,          ///< An attempt to connect, or its opening exchange, failed.
    accepts_failed,           ///< `accept` failed, or an opening exchange of an accepted connection.
    clients_connected,        ///< Connections to services that came up, reconnects included.
    clients_lost,             ///< And ended without `stop`.
    services_connected,       ///< Connections from clients that came up.
    services_lost,            ///< And ended.
    silent_cut,               ///< Connections cut because the peer was silent.
    waits_timed_out,          ///< An `await_` operation reached its limit.
    waits_missed,             ///< Of these: the answer had come.
    waits_disconnected,       ///< Ended by the loss of the connection.
    answers_late,             ///< An answer for which nothing waits any more.
    answers_too_large,        ///< The caller's buffer was too small.
    requests_repeated,        ///< Dropped as a repeat of the message before.
    links_taken_back,         ///< Accepted, but the connection had gone.
    unlinked_dropped,         ///< An event or a value came to a client, or a command to a service, without a link.
    commands_unsent,          ///< A command was posted without a link.
    blocks_taken,             ///< A stop took the block of a value away from its writer.
    values_cut,               ///< `read` into a buffer that was too small.
    datagrams_malformed,      ///< Too short, of another version, or shorter than they say.
    datagrams_unsent,         ///< The kernel refused a datagram.
    payloads_without_memory,  ///< A connection ended because there was no memory for a payload.
    names_contested,          ///< A name was heard from another address than before.
    names_expired,            ///< A name was not heard for 8 beats.
    connections_paused,       ///< A connection over its receive bounds was not read for a while.
    openings_cut,             ///< An opening exchange was not over after its limit.
    accepts_paused,           ///< No descriptor to accept a connection, which waits for the next beat.
};
inline constexpr std::size_t c_counters = 26;

/// One row a cache line: rows have different writers.
struct alignas(128) Row {
    std::array<std::atomic<std::uint64_t>, c_kinds> kinds;
};
/// All counters, in a page of their own, which may be a page of a file (counters_file.h).
struct alignas(4096) Counters {
    std::array<Row, c_by_kind> by_kind;
    std::array<std::atomic<std::uint64_t>, c_counters> single;
};
static_assert(sizeof(Counters) == 4096);
extern Counters g_counters;
/// The longest that a message waited for a listener, in nanoseconds.
extern std::atomic<std::int64_t> g_longest_wait;
/// Listeners inside a dispatch.
extern std::atomic<int> g_busy_listeners;

inline void count(By_kind _what, Kind _kind, std::uint64_t _by = 1) {
    g_counters.by_kind[static_cast<std::size_t>(_what)].kinds[static_cast<std::size_t>(_kind)].fetch_add(
        _by, std::memory_order_relaxed);
}
inline void count(By_kind _what, EMsg _type) {
    count(_what, kind_of(_type));
}
inline void count(Counter _what, std::uint64_t _by = 1) {
    g_counters.single[static_cast<std::size_t>(_what)].fetch_add(_by, std::memory_order_relaxed);
}
/// A message with all its bytes.
inline void count_traffic(By_kind _messages, By_kind _bytes, EMsg _type, std::uint64_t _size) {
    const Kind kind = kind_of(_type);
    count(_messages, kind);
    count(_bytes, kind, _size);
}
void waited_for_listener(std::int64_t _nanoseconds);

}  // namespace Vorn35::counters
