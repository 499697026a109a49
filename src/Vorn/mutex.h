/// @file
/// Mutexes that know their place in the lock order, and the guards that hold them.
///
/// A `Mutex` is a `std::mutex` and nothing more, and so are its guards, unless the build checks locks. The
/// annotations are for clang's -Wthread-safety, which sees what is touched without the lock that guards it; the order
/// itself is checked at run time.
#pragma once

#include <atomic>
#include <chrono>
#include <mutex>
#include <shared_mutex>
#include <thread>

#include "Vorn/lock_order.h"

#if defined(__clang__)
#define VORN35_LOCKS(annotation) __attribute__((annotation))
#else
#define VORN35_LOCKS(annotation)
#endif
#define VORN35_CAPABILITY(kind) VORN35_LOCKS(capability(kind))
#define VORN35_SCOPED_CAPABILITY VORN35_LOCKS(scoped_lockable)
/// The variable is touched with the lock held only.
#define VORN35_GUARDED_BY(mutex) VORN35_LOCKS(guarded_by(mutex))
/// The caller holds the lock.
#define VORN35_REQUIRES(...) VORN35_LOCKS(requires_capability(__VA_ARGS__))
#define VORN35_ACQUIRE(...) VORN35_LOCKS(acquire_capability(__VA_ARGS__))
#define VORN35_ACQUIRE_SHARED(...) VORN35_LOCKS(acquire_shared_capability(__VA_ARGS__))
#define VORN35_RELEASE(...) VORN35_LOCKS(release_capability(__VA_ARGS__))
#define VORN35_RELEASE_SHARED(...) VORN35_LOCKS(release_shared_capability(__VA_ARGS__))
/// Beside each use stands why.
#define VORN35_NO_THREAD_SAFETY_ANALYSIS VORN35_LOCKS(no_thread_safety_analysis)

namespace Vorn35 {

/// The checks at run time. They keep a list of the calling thread's locks, and end the process with a message and the
/// stacks on standard error.
namespace lock_check {
#ifdef VORN35_CHECK_LOCKS
/// Called before a lock is taken, shared or exclusive.
void taking(const void* _mutex, const Lock_place& _place);
void released(const void* _mutex);
/// Application code is about to run, or the thread is about to wait for another one: it must hold no lock.
void leaving();
#else
inline void taking(const void* /*_mutex*/, const Lock_place& /*_place*/) {}
inline void released(const void* /*_mutex*/) {}
inline void leaving() {}
#endif
}  // namespace lock_check

template <const Lock_place& place>
class Unique_lock;

template <const Lock_place& place>
class VORN35_CAPABILITY("mutex") Mutex {
public:
    void lock() VORN35_ACQUIRE() {
        lock_check::taking(&native, place);
        native.lock();
    }
    void unlock() VORN35_RELEASE() {
        lock_check::released(&native);
        native.unlock();
    }

private:
    friend class Unique_lock<place>;
    std::mutex native;
};

/// A `std::shared_mutex` that bounds the starvation of writers. Readers that overlap without a pause would block a writer
/// for ever, so a reader that arrives while a writer waits first yields for about 10 ms. It does not yield longer: a reader
/// that holds the lock may wait for this one.
template <const Lock_place& place>
class VORN35_CAPABILITY("mutex") Shared_mutex {
public:
    void lock() VORN35_ACQUIRE() {
        lock_check::taking(&native, place);
        ++waiting_writers;
        native.lock();
        --waiting_writers;
    }
    void unlock() VORN35_RELEASE() {
        lock_check::released(&native);
        native.unlock();
    }
    void lock_shared() VORN35_ACQUIRE_SHARED() {
        lock_check::taking(&native, place);
        for (int i = 0; i < 100 && waiting_writers.load(std::memory_order_relaxed) != 0; ++i) {
            std::this_thread::sleep_for(std::chrono::microseconds(100));
        }
        native.lock_shared();
    }
    void unlock_shared() VORN35_RELEASE_SHARED() {
        lock_check::released(&native);
        native.unlock_shared();
    }

private:
    std::shared_mutex native;
    std::atomic<int> waiting_writers{0};
};

/// `std::lock_guard` with the annotations that clang needs.
template <const Lock_place& place>
class VORN35_SCOPED_CAPABILITY Lock_guard {
public:
    explicit Lock_guard(Mutex<place>& _mutex) VORN35_ACQUIRE(_mutex) : mutex(_mutex) { mutex.lock(); }
    ~Lock_guard() VORN35_RELEASE() { mutex.unlock(); }
    Lock_guard(const Lock_guard&) = delete;
    Lock_guard& operator=(const Lock_guard&) = delete;

private:
    Mutex<place>& mutex;
};

/// `std::unique_lock`.
template <const Lock_place& place>
class VORN35_SCOPED_CAPABILITY Unique_lock {
public:
    explicit Unique_lock(Mutex<place>& _mutex) VORN35_ACQUIRE(_mutex) : held(about_to_take(_mutex)) {}
    Unique_lock(Mutex<place>& _mutex, std::adopt_lock_t _adopt) VORN35_REQUIRES(_mutex) : held(_mutex.native, _adopt) {}
    ~Unique_lock() VORN35_RELEASE() {
        if (held.owns_lock()) lock_check::released(held.mutex());
    }
    Unique_lock(const Unique_lock&) = delete;
    Unique_lock& operator=(const Unique_lock&) = delete;

    void lock() VORN35_ACQUIRE() {
        lock_check::taking(held.mutex(), place);
        held.lock();
    }
    void unlock() VORN35_RELEASE() {
        lock_check::released(held.mutex());
        held.unlock();
    }
    /// Leaves the mutex locked; the thread must unlock it itself.
    void release() { held.release(); }
    /// For a wait on a condition variable. The check counts the thread as holder during the whole wait.
    std::unique_lock<std::mutex>& native() { return held; }

private:
    static std::mutex& about_to_take(Mutex<place>& _mutex) {
        lock_check::taking(&_mutex.native, place);
        return _mutex.native;
    }

    std::unique_lock<std::mutex> held;
};

}  // namespace Vorn35
