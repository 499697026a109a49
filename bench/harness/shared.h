/// @file
/// The page that all processes of one run share. Made before they are forked, so every process has it at the same
/// address. Nothing in it costs a system call on a message's way, except where a paced sender waits.
#pragma once

#include <sys/types.h>

#include <array>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>

namespace bench {

using steady = std::chrono::steady_clock;

inline std::uint64_t now_ns() {
    return static_cast<std::uint64_t>(steady::now().time_since_epoch().count());
}

/// Calls `sleep` in short steps until `done()`, for set-up only.
/// @return false when it took longer than `seconds`.
bool poll(double seconds, bool (*done)(void*), void* argument);
template <class Done>
bool wait_for(double seconds, Done done) {
    return poll(
        seconds, [](void* argument) { return (*static_cast<Done*>(argument))(); }, &done);
}

struct Shared {
    static constexpr std::size_t c_clients = 64;
    static constexpr std::size_t c_samples = 1U << 20U;

    enum Stage : std::uint32_t { setting_up, warming, measuring, ended };
    std::atomic<std::uint32_t> stage;  ///< Written by the parent only.

    std::atomic<pid_t> service;               ///< Its process.
    std::atomic<std::uint64_t> baseline_kib;  ///< Memory of both processes after the first ten idle connections.
    std::atomic<std::uint64_t> crowd_ns;      ///< The time that the crowd took to come.
    std::atomic<std::uint32_t> port;          ///< Of the service; 0 until it is open.
    std::atomic<std::uint32_t> ready;         ///< Clients that are connected.
    std::atomic<std::uint32_t> failed;        ///< Processes that gave up.

    std::atomic<std::uint64_t> sent;      ///< Messages, or calls, that went out.
    std::atomic<std::uint64_t> arrived;   ///< Messages received by everybody, or calls answered.
    std::atomic<std::uint64_t> mistakes;  ///< Calls that failed.

    /// Nanoseconds of single calls or deliveries while `measuring`.
    std::atomic<std::uint32_t> sample_count;
    std::array<std::uint32_t, c_samples> samples;

    void sample(std::uint64_t ns) {
        if (stage.load(std::memory_order_relaxed) != measuring) return;
        const std::uint32_t at = sample_count.fetch_add(1, std::memory_order_relaxed);
        if (at < c_samples) samples[at] = static_cast<std::uint32_t>(ns < ~0U ? ns : ~0U);
    }

    bool is_over() const { return stage.load(std::memory_order_relaxed) == ended; }

    /// A receiver has got a message. Wakes the sender if it waits for just this one.
    /// @param track 0 where there is one sender, otherwise the sender's number: each is paced by itself.
    void receipt(std::size_t track);

    /// Waits until a track has `count` receipts since the last time, and no longer than half a second: what has not come
    /// by then is lost.
    void pace(std::size_t track, std::uint32_t count);

private:
    struct alignas(64) Track {
        std::atomic<std::uint32_t> receipts;  ///< Since the last `pace` returned.
        std::atomic<std::uint32_t> wanted;    ///< 0: no thread waits.
    };
    std::array<Track, c_clients> tracks;
};

/// Maps a cleared page that forked processes share. Never unmapped.
Shared& make_shared();

}  // namespace bench
