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
/// The standard condition variable leaves the mutex of each thread that it wakes marked as contended, which costs a useless
/// system call at the unlock. This one does not, and a notification without a waiter makes no system call. As with any
/// condition variable, a wait does not see a notification from before its start, and may end for a notification that was
/// meant for another waiter. Any thread may call any operation.
class Condition {
public:
    Condition() = default;
    Condition(const Condition&) = delete;
    Condition& operator=(const Condition&) = delete;

    /// Releases the lock, sleeps until notified, and takes the lock again.
    void wait(std::unique_lock<std::mutex>& _lock);
    /// The same, for at most `_time` of the steady clock.
    std::cv_status wait_for(std::unique_lock<std::mutex>& _lock, std::chrono::nanoseconds _time);
    /// The same, at most until `_end` of the system clock, and follows changes of that clock.
    std::cv_status wait_until(std::unique_lock<std::mutex>& _lock, std::chrono::system_clock::time_point _end);

    /// The caller need not hold the mutex.
    void notify_one() { notify(1); }
    void notify_all();

    /// Some thread is inside a wait.
    bool is_waited_for() const { return waiters != 0; }

private:
    std::cv_status sleep(std::unique_lock<std::mutex>& _lock, int _clock, const timespec* _end);
    void notify(int _most);

    std::atomic<std::uint32_t> turn{0};  ///< Changes with each notification. What the kernel compares before it sleeps.
    std::atomic<std::uint32_t> waiters{0};
};

}  // namespace Kestrane
