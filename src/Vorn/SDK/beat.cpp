#include "Vorn/SDK/beat.h"

#include <algorithm>
#include <chrono>
#include <utility>

#include "Kestrane/_chrono.h"

namespace Vorn35 {

Beat::Beat(double _interval, std::function<void()> _tick)
    : tick(std::move(_tick)), thread([this, _interval] { run(_interval); }) {}

Beat::~Beat() {
    {
        const Lock_guard lock(mutex);
        ending = true;
    }
    wake.notify_all();
    thread.join();
}

void Beat::run(double _interval) {
    // An interval of 0 or less means calls without a pause. A negative step would eventually underflow the clock.
    const auto step = std::max(Kestrane::to_duration(_interval), std::chrono::nanoseconds(0));
    auto next = std::chrono::steady_clock::now();
    Unique_lock lock(mutex);
    for (;;) {
        next += step;
        if (wake.wait_until(lock.native(), next, [this]() VORN35_REQUIRES(mutex) { return ending; })) return;
        lock.unlock();
        tick();
        lock.lock();
    }
}

}  // namespace Vorn35
