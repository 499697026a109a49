#include "Kestrane/_thread.h"

#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <ctime>

namespace Kestrane {

namespace {

timespec to_timespec(std::chrono::nanoseconds _since_epoch) {
    const auto seconds = std::chrono::floor<std::chrono::seconds>(_since_epoch);
    return {seconds.count(), (_since_epoch - seconds).count()};
}

}  // namespace

void Condition::wait(std::unique_lock<std::mutex>& _lock) {
    sleep(_lock, 0, nullptr);
}

std::cv_status Condition::wait_for(std::unique_lock<std::mutex>& _lock, std::chrono::nanoseconds _time) {
    const timespec end = to_timespec(std::chrono::steady_clock::now().time_since_epoch() + _time);
    return sleep(_lock, 0, &end);
}

std::cv_status Condition::wait_until(std::unique_lock<std::mutex>& _lock, std::chrono::system_clock::time_point _end) {
    const timespec end = to_timespec(_end.time_since_epoch());
    return sleep(_lock, FUTEX_CLOCK_REALTIME, &end);
}

void Condition::notify_all() {
    notify(INT_MAX);
}

std::cv_status Condition::sleep(std::unique_lock<std::mutex>& _lock, int _clock, const timespec* _end) {
    const std::uint32_t seen = turn;
    // A notification from here on finds this waiter, or changes `turn` before the kernel compares it.
    ++waiters;
    _lock.unlock();
    auto result = std::cv_status::no_timeout;
    while (turn == seen && result == std::cv_status::no_timeout) {
        const long slept = ::syscall(SYS_futex, &turn, FUTEX_WAIT_BITSET | FUTEX_PRIVATE_FLAG | _clock, seen, _end,
                                     nullptr, FUTEX_BITSET_MATCH_ANY);
        // An end before the clock's epoch is refused, and is over as well.
        if (slept == -1 && errno != EINTR && errno != EAGAIN) result = std::cv_status::timeout;
    }
    --waiters;
    _lock.lock();
    return result;
}

void Condition::notify(int _most) {
    ++turn;
    if (waiters != 0) ::syscall(SYS_futex, &turn, FUTEX_WAKE | FUTEX_PRIVATE_FLAG, _most, nullptr, nullptr, 0);
}

}  // namespace Kestrane
