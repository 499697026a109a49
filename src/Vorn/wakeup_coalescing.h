/// @file
/// Wake-up coalescing: one wake-up of a worker for many hand-offs.
#pragma once

namespace Vorn35 {

/// A scope. A thread that hands work to workers inside it wakes each of them once, when its outermost scope ends. A worker
/// that is already awake may take the work earlier.
///
/// Do not run application code or wait inside a scope. Open it before you take any lock that a wake-up takes. A thread
/// opens it only while it holds `mutex_01`, or if it ends before `finalize_inet`.
class Wakeup_coalescing {
public:
    using wake_t = void();

    Wakeup_coalescing();
    ~Wakeup_coalescing();
    Wakeup_coalescing(const Wakeup_coalescing&) = delete;
    Wakeup_coalescing& operator=(const Wakeup_coalescing&) = delete;

    /// Requests a wake-up. It happens at the end of the thread's outermost scope, and at every `_threshold`-th request;
    /// at once when the thread has no scope open.
    static void request(wake_t* _wake, unsigned _threshold = ~0U);
};

}  // namespace Vorn35
