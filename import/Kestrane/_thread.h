/// @file
/// Waiting for other threads.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>

struct timespec;

namespace Kestrane {

/// A condition variable for mutexes that are rarely contended.
///
/// The standard one leaves the mutex of each thread that it wakes marked as contended, so that giving it back is a system
/// call for nobody. This one does not, and a notification that nobody waits for makes no system call either. As with any
/// condition variable, a notification that comes before the wait is not seen by it, and a wait may end for another's
/// notification. Any thread may call any operation.
class Condition {
public:
    Condition() = default;
    Condition(const Condition&) = delete;
    Condition& operator=(const Condition&) = delete;

    /// Lets go of the lock, sleeps until notified, and takes the lock again.
    void wait(std::unique_lock<std::mutex>& _lock);
    /// The same, and no longer than so much of the steady clock.
    std::cv_status wait_for(std::unique_lock<std::mutex>& _lock, std::chrono::nanoseconds _time);
    /// The same, and no longer than until then, also when the system clock is set meanwhile.
    std::cv_status wait_until(std::unique_lock<std::mutex>& _lock, std::chrono::system_clock::time_point _end);

    /// The caller need not hold the mutex.
    void notify_one() { notify(1); }
    void notify_all();

    /// Whether a wait has begun that is not over.
    bool is_waited_for() const { return waiters != 0; }

private:
    std::cv_status sleep(std::unique_lock<std::mutex>& _lock, int _clock, const timespec* _end);
    void notify(int _most);

    std::atomic<std::uint32_t> turn{0};  ///< Changes with each notification. What the kernel compares before it sleeps.
    std::atomic<std::uint32_t> waiters{0};
};

}  // namespace Kestrane
