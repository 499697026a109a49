/// @file
/// A fixed rate.
#pragma once

#include <condition_variable>
#include <functional>
#include <thread>

#include "Vorn/mutex.h"

namespace Vorn35 {

/// Calls a function at a fixed rate on a thread of its own. Each call is due one interval after the last was
/// due: the rate does not drift, and calls that are late follow each other at once.
class Beat {
public:
    /// @param _interval seconds, also ahead of the first call.
    Beat(double _interval, std::function<void()> _tick);
    /// Ends a sleep at once; waits for a call that runs, hence never from inside one.
    ~Beat();
    Beat(const Beat&) = delete;
    Beat& operator=(const Beat&) = delete;

private:
    void run(double _interval);

    const std::function<void()> tick;
    /// Guards `ending`. A leaf; not held while `tick` runs.
    Mutex<lock_order::beat> mutex;
    std::condition_variable wake;
    bool ending VORN35_GUARDED_BY(mutex) = false;
    std::thread thread;  ///< Last: it uses all of the above.
};

}  // namespace Vorn35
