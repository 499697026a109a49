#include "Vorn/Vorn_processor/dispatches.h"

#include <chrono>
#include <condition_variable>
#include <utility>

#include "Kestrane/_chrono.h"
#include "Vorn/counters.h"
#include "Vorn/mutex.h"

namespace Vorn35 {

namespace {

/// Orders a wait against the end of a dispatch. A leaf. Outlives the processor, as a wait may.
Mutex<lock_order::dispatches> g_mutex;
std::condition_variable g_none;
std::atomic<int> g_waits{0};  ///< While it is 0, the end of a dispatch takes no lock.

thread_local const Dispatch* t_innermost = nullptr;

}  // namespace

bool Dispatches::are_own() const {
    for (const Dispatch* one = t_innermost; one != nullptr; one = one->outer) {
        if (one->of.get() == this) return true;
    }
    return false;
}

void Dispatches::keep(std::shared_ptr<void> _kept) {
    if (!are_own()) return;
    const Lock_guard lock(g_mutex);
    kept.push_back(std::move(_kept));
    keeps = true;
}

bool Dispatches::wait_for_none(double _limit) const {
    // Incremented before the check of `under_way`: either the check sees the end of a dispatch, or the end sees this wait.
    ++g_waits;
    bool none = false;
    {
        Unique_lock lock(g_mutex);
        none = g_none.wait_until(lock.native(), std::chrono::steady_clock::now() + Kestrane::to_duration(_limit),
                                 [this] { return under_way == 0; });
    }
    --g_waits;
    return none;
}

Dispatch::Dispatch(const dispatches_t& _of) : of(_of), outer(t_innermost) {
    ++of->under_way;
    counters::g_busy_listeners.fetch_add(1, std::memory_order_relaxed);
    t_innermost = this;
}

Dispatch::~Dispatch() {
    t_innermost = outer;
    counters::g_busy_listeners.fetch_sub(1, std::memory_order_relaxed);
    if (--of->under_way != 0 || (g_waits == 0 && !of->keeps)) return;
    // The object is in no table any more, so no dispatch begins. What is freed here may free this count, but for `of`.
    std::vector<std::shared_ptr<void>> freed;
    {
        const Lock_guard lock(g_mutex);
        freed.swap(of->kept);
    }
    g_none.notify_all();
}

}  // namespace Vorn35
