/// @file
/// One wake-up for many things handed over.
#pragma once

namespace Vorn35 {

/// Whoever is handed something by a thread while one of these lives is woken at the end of the outermost one, once. What
/// was handed over may be dealt with before, by somebody who is awake.
///
/// Not to be held while application code runs or the thread waits, and only inside of a hold of `mutex_01` or on a thread
/// that ends before `finalize_inet`. Made before any lock that a wake-up takes.
class Burst {
public:
    using wake_t = void();

    Burst();
    ~Burst();
    Burst(const Burst&) = delete;
    Burst& operator=(const Burst&) = delete;

    /// Calls `_wake` at the end of the thread's burst, and each time when it was asked for as often as `_patience` says;
    /// at once when there is no burst.
    static void wake_at_end(wake_t* _wake, unsigned _patience = ~0U);
};

}  // namespace Vorn35
