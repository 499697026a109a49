#include "harness/shared.h"

#include <linux/futex.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <new>

namespace bench {

bool poll(double seconds, bool (*done)(void*), void* argument) {
    const std::uint64_t end = now_ns() + static_cast<std::uint64_t>(seconds * 1e9);
    while (!done(argument)) {
        if (now_ns() > end) return false;
        usleep(500);
    }
    return true;
}

Shared& make_shared() {
    void* const page = mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (page == MAP_FAILED) {
        std::perror("mmap");
        std::exit(1);
    }
    return *new (page) Shared;
}

namespace {

// The kernel wants the plain word; an atomic of 32 bits is one.
long futex(std::atomic<std::uint32_t>& word, int operation, std::uint32_t value, const timespec* limit) {
    return syscall(SYS_futex, &word, operation, value, limit, nullptr, 0);
}

}  // namespace

void Shared::receipt(std::size_t track) {
    arrived.fetch_add(1, std::memory_order_relaxed);
    Track& t = tracks[track];
    const std::uint32_t receipts = t.receipts.fetch_add(1) + 1;
    if (receipts == t.wanted.load()) futex(t.receipts, FUTEX_WAKE, 1, nullptr);
}

void Shared::pace(std::size_t track, std::uint32_t count) {
    Track& t = tracks[track];
    t.wanted.store(count);
    const std::uint64_t end = now_ns() + 500000000U;
    for (std::uint32_t now = t.receipts.load(); now < count && now_ns() < end && !is_over(); now = t.receipts.load()) {
        const timespec limit{0, 50000000};
        futex(t.receipts, FUTEX_WAIT, now, &limit);
    }
    t.wanted.store(0);
    t.receipts.store(0);
}

}  // namespace bench
