/// @file
/// A first-in-first-out queue between threads of one process, with a bound chosen by each push.
#pragma once

#include <cstddef>
#include <deque>
#include <mutex>
#include <utility>

#include "Kestrane/_chrono.h"
#include "Kestrane/_thread.h"

namespace Kestrane {

/// Queue of `T`. Any thread may call any operation.
///
/// Each push carries the bound: the pipe refuses an item when its length is greater than `limit`, so the length reaches
/// `limit` + 1 at most. After `proc_shutdown` the pipe accepts nothing and `eproc_receive` returns nothing; `eproc_pop`
/// still takes the items inside.
///
/// A push wakes at most one sleeping receiver at a time. A receiver that has taken an item wakes the next one if more items
/// wait; `eproc_receive` includes this step.
template <class T>
class Nonshared_pipe {
public:
    /// Result of the `eproc_` operations. In a class derived from a pipe the name `Error` means this one.
    enum Error : int {
        none = 0,
        success = 0,
        shutdown = 1,      ///< The pipe is not valid any more.
        busy = 2,          ///< The length is above the bound.
        unknown = 3,       ///< `eproc_pop`: there is no item.
        canceled = 4,      ///< Reserved; nothing returns it.
        wait_timeout = 5,  ///< Reserved; nothing returns it.
    };

    explicit Nonshared_pipe(std::size_t _max_size) : max_size(_max_size) {}
    Nonshared_pipe(const Nonshared_pipe&) = delete;
    Nonshared_pipe& operator=(const Nonshared_pipe&) = delete;

    bool test_empty() {
        const std::lock_guard guard(lock);
        return queue.empty();
    }

    std::size_t length() {
        const std::lock_guard guard(lock);
        return queue.size();
    }

    /// Always false: only a push has a bound.
    bool test_full() { return false; }

    /// Appends unless the length is greater than `_limit`. Wakes no receiver.
    [[nodiscard]] Error eproc_push(const T& _item, std::size_t _limit) {
        const std::lock_guard guard(lock);
        if (!valid) return shutdown;
        if (queue.size() > _limit) return busy;
        queue.push_back(_item);
        return success;
    }

    /// `eproc_push`, and a receiver that sleeps is woken, also when the push was refused as busy.
    [[nodiscard]] Error eproc_send(const T& _item, std::size_t _limit) {
        const Error result = eproc_push(_item, _limit);
        if (result != shutdown) proc_wake();
        return result;
    }

    /// Waits until there is an item, and leaves it there. `shutdown` as soon as the pipe is not valid, items or none.
    [[nodiscard]] Error eproc_wait() {
        std::unique_lock guard(lock);
        while (valid && queue.empty()) sleep([&] { event.wait(guard); });
        return valid ? success : shutdown;
    }

    /// The same in waits of `_seconds` each, repeated without end: the time bounds one wait, not the operation. It checks
    /// only on entry whether the pipe is valid, so a shutdown does not end the wait.
    [[nodiscard]] Error eproc_wait_timeout(double _seconds) {
        std::unique_lock guard(lock);
        if (!valid) return shutdown;
        while (queue.empty()) sleep([&] { event.wait_for(guard, to_duration(_seconds)); });
        return success;
    }

    /// `eproc_wait`, and takes the item.
    [[nodiscard]] Error eproc_receive(T* _item_) {
        return receive(_item_, [this] { return eproc_wait(); });
    }

    /// `eproc_wait_timeout`, and takes the item.
    [[nodiscard]] Error eproc_receive_timeout(T* _item_, double _seconds) {
        return receive(_item_, [this, _seconds] { return eproc_wait_timeout(_seconds); });
    }

    /// Takes the first item without waiting, also after `proc_shutdown`; `unknown` when there is none.
    [[nodiscard]] Error eproc_pop(T* _item_) {
        const std::lock_guard guard(lock);
        if (queue.empty()) return unknown;
        take(_item_);
        return success;
    }

    /// Wakes one sleeping receiver, if an item waits and no receiver was woken for it yet.
    void proc_wake() {
        {
            const std::lock_guard guard(lock);
            if (queue.empty() || sleepers == 0 || woken) return;
            woken = true;
        }
        event.notify_one();
    }

    /// Ends the pipe and wakes all receivers.
    void proc_shutdown() {
        {
            const std::lock_guard guard(lock);
            valid = false;
        }
        event.notify_all();
    }

protected:
    bool valid = true;  ///< Guarded by `lock`.
    Condition event;
    std::mutex lock;       ///< Guards all but `max_size`. Held by nothing that calls out of the pipe.
    std::size_t max_size;  ///< Kept, and compared with nothing.

private:
    template <class Wait>
    Error receive(T* _item_, Wait _wait) {
        for (;;) {
            if (const Error result = _wait(); result != success) return result;
            // Another receiver may have been faster.
            if (eproc_pop(_item_) != success) continue;
            proc_wake();
            return success;
        }
    }

    /// One wait; `lock` is held before and after it.
    template <class Wait>
    void sleep(Wait _wait) {
        ++sleepers;
        _wait();
        --sleepers;
        woken = false;
    }

    void take(T* _item_) {
        *_item_ = std::move(queue.front());
        queue.pop_front();
    }

    // Guarded by `lock`.

    std::deque<T> queue;
    std::size_t sleepers = 0;  ///< Receivers that wait on `event`.
    bool woken = false;        ///< One of them was woken and has not come yet.
};

}  // namespace Kestrane
