/// @file
/// Waiting in tests: for an event where there is one, by polling where there is none. Every wait has a watchdog that
/// turns a hang into a failure. No wait asserts a maximum time of the runtime.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <string>
#include <thread>

namespace net {

inline constexpr std::chrono::seconds c_watchdog(25);

/// Polls a state that nobody announces. False: the watchdog ended it.
template <class Condition>
[[nodiscard]] bool eventually(Condition _condition) {
    const auto end = std::chrono::steady_clock::now() + c_watchdog;
    while (!_condition()) {
        if (std::chrono::steady_clock::now() > end) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

/// What callbacks reported, in order.
template <class T>
class Events {
public:
    void put(T _event) {
        const std::lock_guard lock(mutex);
        queue.push_back(std::move(_event));
        came.notify_all();
    }
    /// Waits for the next one.
    T take() {
        std::unique_lock lock(mutex);
        if (!came.wait_for(lock, c_watchdog, [this] { return !queue.empty(); })) {
            ADD_FAILURE() << "an event did not come";
            return T{};
        }
        T first = std::move(queue.front());
        queue.pop_front();
        return first;
    }
    void take(std::size_t _count) {
        for (; _count != 0; --_count) take();
    }
    std::size_t size() {
        const std::lock_guard lock(mutex);
        return queue.size();
    }
    bool empty() { return size() == 0; }

private:
    std::mutex mutex;
    std::condition_variable came;
    std::deque<T> queue;
};

/// Callbacks as lines of text, so that a test states their order.
struct Log : Events<std::string> {
    /// The next lines as "one, two".
    std::string lines(std::size_t _count) {
        std::string all = take();
        while (--_count != 0) all += ", " + take();
        return all;
    }
};

/// Holds handlers back while it is closed.
class Gate {
public:
    void close() { set(false); }
    void open() { set(true); }
    void pass() {
        std::unique_lock lock(mutex);
        ++inside;
        changed.notify_all();
        EXPECT_TRUE(changed.wait_for(lock, c_watchdog, [this] { return is_open; })) << "a gate stayed closed";
        --inside;
    }
    void until_reached() {
        std::unique_lock lock(mutex);
        EXPECT_TRUE(changed.wait_for(lock, c_watchdog, [this] { return inside != 0; })) << "no handler at a gate";
    }
    unsigned waiting() {
        const std::lock_guard lock(mutex);
        return inside;
    }

private:
    void set(bool _open) {
        const std::lock_guard lock(mutex);
        is_open = _open;
        changed.notify_all();
    }
    std::mutex mutex;
    std::condition_variable changed;
    bool is_open = true;
    unsigned inside = 0;
};

}  // namespace net
