/// The checks of builds with `VORN35_CHECK_LOCKS`.

#ifdef VORN35_CHECK_LOCKS

#include <execinfo.h>
#include <unistd.h>

#include <array>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "Vorn/mutex.h"

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#include <sanitizer/common_interface_defs.h>
#endif

namespace Vorn35::lock_check {

namespace {

struct Stack {
    std::array<void*, 24> frames;
    int depth;
};

struct Held {
    const void* mutex;
    const Lock_place* place;
    Stack taken;
};

/// Far more than the levels that one thread ever stands on.
constexpr std::size_t c_most = 16;

// Trivial to destroy: destructors of a thread that ends take locks, too.
thread_local std::array<Held, c_most> t_held;
thread_local std::size_t t_count = 0;

void capture(Stack* _stack_) {
    _stack_->depth = ::backtrace(_stack_->frames.data(), static_cast<int>(_stack_->frames.size()));
}

void print(const Stack& _stack) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    // Knows functions and lines, also of what the program does not export.
    for (int i = 0; i < _stack.depth; ++i) {
        std::array<char, 2048> lines{};
        auto* const call = static_cast<char*>(_stack.frames[static_cast<std::size_t>(i)]) - 1;
        __sanitizer_symbolize_pc(call, "    %p %f %S", lines.data(), lines.size());
        // One for each function that was inlined there; an empty one ends them.
        for (const char* line = lines.data(); *line != '\0'; line += std::strlen(line) + 1) {
            std::fprintf(stderr, "%s\n", line);
        }
    }
#else
    ::backtrace_symbols_fd(_stack.frames.data(), _stack.depth, STDERR_FILENO);
#endif
}

[[noreturn]] void die(const Held* _held) {
    Stack here{};
    capture(&here);
    std::fprintf(stderr, "here:\n");
    print(here);
    if (_held != nullptr) {
        std::fprintf(stderr, "%s was taken:\n", _held->place->name);
        print(_held->taken);
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
    capture(&next.taken);
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
    for (std::size_t i = 0; i < t_count; ++i) {
        if (t_held[i].place == &lock_order::on_sync) continue;
        std::fprintf(stderr, "vorn35: lock order: application code or a wait while %s is held\n",
                     t_held[i].place->name);
        die(&t_held[i]);
    }
}

}  // namespace Vorn35::lock_check

#endif
