/// The checks of builds with `VORN35_CHECK_LOCKS`.

#ifdef VORN35_CHECK_LOCKS

#include <array>
#include <cstddef>
#include <cstdio>
#include <cstdlib>

#include "Kestrane/_debug.h"
#include "Vorn/mutex.h"

namespace Vorn35::lock_check {

namespace {

struct Held {
    const void* mutex;
    const Lock_place* place;
    Kestrane::Call_stack taken;
};

/// Far more than the levels that one thread ever stands on.
constexpr std::size_t c_most = 16;

// Trivial to destroy: destructors of a thread that ends take locks, too.
thread_local std::array<Held, c_most> t_held;
thread_local std::size_t t_count = 0;

[[noreturn]] void die(const Held* _held) {
    Kestrane::Call_stack here{};
    here.capture();
    std::fprintf(stderr, "here:\n");
    here.print();
    if (_held != nullptr) {
        std::fprintf(stderr, "%s was taken:\n", _held->place->name);
        _held->taken.print();
    }
    std::abort();
}

}  // namespace

void taking(const void* _mutex, const Lock_place& _place) {
    for (std::size_t i = 0; i < t_count; ++i) {
        const Held& held = t_held[i];
        if (held.mutex != _mutex && held.place->level < _place.level) continue;
        std::fprintf(stderr, "vorn35: lock order: %s is taken%s while %s is held\n", _place.name,
                     held.mutex == _mutex ? " again" : "", held.place->name);
        die(&held);
    }
    Held& next = t_held.at(t_count++);
    next.mutex = _mutex;
    next.place = &_place;
    next.taken.capture();
}

void released(const void* _mutex) {
    for (std::size_t i = t_count; i-- > 0;) {
        if (t_held[i].mutex != _mutex) continue;
        for (--t_count; i < t_count; ++i) t_held[i] = t_held[i + 1];
        return;
    }
    std::fprintf(stderr, "vorn35: lock order: a lock is released that this thread does not hold\n");
    die(nullptr);
}

void leaving() {
    if (t_count == 0) return;
    std::fprintf(stderr, "vorn35: lock order: application code or a wait while %s is held\n", t_held[0].place->name);
    die(&t_held[0]);
}

}  // namespace Vorn35::lock_check

#endif
