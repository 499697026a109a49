#include "Vorn/Vorn_processor/heard_processes.h"

#include <algorithm>
#include <chrono>

namespace Vorn35 {

namespace {

constexpr std::chrono::milliseconds c_beat(1000);
constexpr std::chrono::milliseconds c_jitter(100);
/// A process that was not heard for so long has ended.
constexpr std::chrono::milliseconds c_life(3500);

}  // namespace

bool Heard_processes::is_new(IP _host, ks_clock_t _now) {
    std::vector<ks_clock_t>& processes = last_heard[_host];
    std::erase_if(processes, [_now](ks_clock_t _last) { return _now - _last > c_life; });
    const auto known = std::ranges::find_if(processes, [_now](ks_clock_t _last) {
        // One copy comes for each interface of the sender, so a difference of 0 is of the same process, too.
        const auto apart = (_now - _last) % c_beat;
        return apart < c_jitter || apart > c_beat - c_jitter;
    });
    if (known != processes.end()) {
        *known = _now;
        return false;
    }
    processes.push_back(_now);
    return true;
}

}  // namespace Vorn35
