/// @file
/// The one lock that orders application calls against dispatch, and the ways to hold it.
///
/// `Vorn_processor::mutex_01` is held shared by a listener while it dispatches and by application operations,
/// and exclusive where a table, an object's start or stop or its members change. It also guards
/// `gp_processor` itself: the processor is taken away under the exclusive hold, so whoever holds the lock and
/// finds `gp_processor` set may use it until the hold ends.
///
/// Place in the lock order: after `serial_lock` and the pipe's `lock`, before every other lock of the
/// runtime.
#pragma once

#include <mutex>
#include <shared_mutex>

#include "Vorn/Vorn_processor/Vorn_processor.h"

namespace Vorn35 {

/// Shared hold. A thread that has one already (a function that runs in front of a signal's answer) takes it
/// once more for nothing.
class Shared_hold {
public:
    Shared_hold() {
        if (depth++ == 0) Vorn_processor::mutex_01.lock_shared();
    }
    ~Shared_hold() {
        if (--depth == 0) Vorn_processor::mutex_01.unlock_shared();
    }
    Shared_hold(const Shared_hold&) = delete;
    Shared_hold& operator=(const Shared_hold&) = delete;

private:
    friend class Released;
    static thread_local int depth;
};

/// Lets go of the thread's shared hold for as long as application code runs or a wait lasts.
class Released {
public:
    Released() : depth(Shared_hold::depth) {
        Shared_hold::depth = 0;
        Vorn_processor::mutex_01.unlock_shared();
    }
    ~Released() {
        Vorn_processor::mutex_01.lock_shared();
        Shared_hold::depth = depth;
    }
    Released(const Released&) = delete;
    Released& operator=(const Released&) = delete;

private:
    const int depth;
};

/// Exclusive hold.
class Exclusive_hold {
public:
    Exclusive_hold() : lock(Vorn_processor::mutex_01) {}

private:
    const std::unique_lock<std::shared_mutex> lock;
};

}  // namespace Vorn35
