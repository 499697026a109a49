/// @file
/// The one lock that orders application calls against dispatch, and the ways to hold it.
///
/// `Vorn_processor::mutex_01` is held shared by a listener while it dispatches and by application operations,
/// and exclusive where a table, an object's start or stop or its members change. It also guards
/// `gp_processor` itself: the exclusive hold protects its removal, so a thread that holds the lock and finds
/// `gp_processor` set may use it until the hold ends.
///
/// Place in the lock order: after `serial_lock`, before every lock of an object, of the relay and of the memory
/// (lock_order.h).
///
/// clang cannot follow a hold that depends on how many the thread has, so what `mutex_01` guards is not annotated.
#pragma once

#include "Vorn/Vorn_processor/Vorn_processor.h"

namespace Vorn35 {

/// Shared hold. Nests: a thread that has one already (in the function before a signal's answer) does not lock again.
class Shared_hold {
public:
    Shared_hold() VORN35_NO_THREAD_SAFETY_ANALYSIS {
        if (depth++ == 0) Vorn_processor::mutex_01.lock_shared();
    }
    ~Shared_hold() VORN35_NO_THREAD_SAFETY_ANALYSIS {
        if (--depth == 0) Vorn_processor::mutex_01.unlock_shared();
    }
    Shared_hold(const Shared_hold&) = delete;
    Shared_hold& operator=(const Shared_hold&) = delete;

private:
    friend class Released;
    static thread_local int depth;
};

/// Releases the thread's shared hold while application code runs or the thread waits.
class Released {
public:
    Released() VORN35_NO_THREAD_SAFETY_ANALYSIS : depth(Shared_hold::depth) {
        Shared_hold::depth = 0;
        Vorn_processor::mutex_01.unlock_shared();
        lock_check::leaving();
    }
    ~Released() VORN35_NO_THREAD_SAFETY_ANALYSIS {
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
    Exclusive_hold() VORN35_NO_THREAD_SAFETY_ANALYSIS { Vorn_processor::mutex_01.lock(); }
    ~Exclusive_hold() VORN35_NO_THREAD_SAFETY_ANALYSIS { Vorn_processor::mutex_01.unlock(); }
    Exclusive_hold(const Exclusive_hold&) = delete;
    Exclusive_hold& operator=(const Exclusive_hold&) = delete;
};

}  // namespace Vorn35
