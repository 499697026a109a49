#include "Vorn/wakeup_coalescing.h"

#include <algorithm>
#include <array>
#include <cstddef>

namespace Vorn35 {

namespace {

struct Due {
    Wakeup_coalescing::wake_t* wake;
    unsigned times;  ///< Asked for since it was called last.
};

thread_local int t_depth = 0;
/// A thread requests at most two different wake-ups: that of the send workers and that of the listeners.
thread_local std::array<Due, 2> t_due{};
thread_local std::size_t t_count = 0;

}  // namespace

Wakeup_coalescing::Wakeup_coalescing() {
    ++t_depth;
}

Wakeup_coalescing::~Wakeup_coalescing() {
    if (--t_depth != 0) return;
    while (t_count != 0) {
        const Due due = t_due[--t_count];
        if (due.times != 0) due.wake();
    }
}

void Wakeup_coalescing::request(wake_t* _wake, unsigned _threshold) {
    if (t_depth == 0) return _wake();
    const auto end = t_due.begin() + t_count;
    const auto due = std::find_if(t_due.begin(), end, [_wake](const Due& _due) { return _due.wake == _wake; });
    if (due == end) t_due.at(t_count++) = {_wake, 0};
    if (++due->times < _threshold) return;
    due->times = 0;
    _wake();
}

}  // namespace Vorn35
