/// @file
/// A fixed rate.
#pragma once

#include <condition_variable>
#include <functional>
#include <thread>

#include "Vorn/mutex.h"

namespace Vorn35 {

/// Calls a function at a fixed rate on its own thread. Each call is due one interval after the previous due time, so the rate
/// does not drift, and late calls follow each other without a pause.
class Beat {
public:
    /// @param _interval seconds between calls, and before the first one.
    Beat(double _interval, std::function<void()> _tick);
    /// Ends a sleep, or waits for a running call. So do not destroy it from inside a call.
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
