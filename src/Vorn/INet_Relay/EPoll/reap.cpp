#include "Vorn/INet_Relay/EPoll/reap.h"

#include <fcntl.h>
#include <netinet/in.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <vector>

#include "Vorn/INet_Relay/EPoll/ready_list.h"

namespace Vorn35 {

namespace {

struct Retired {
    std::unique_ptr<struct_epoll_overlapped> record;
    Socket ended_socket;
};
using retired_t = std::vector<Retired>;

/// Guards everything below. A leaf: records are destroyed only after its release.
Mutex<lock_order::reap> g_reap_lock;
retired_t& g_waiting VORN35_GUARDED_BY(g_reap_lock) =
    *new retired_t;  ///< For the next round. Never destroyed, as the workers may outlive it.
retired_t& g_passing VORN35_GUARDED_BY(g_reap_lock) = *new retired_t;  ///< Of the round under way.
unsigned g_live_workers VORN35_GUARDED_BY(g_reap_lock) = 0;            ///< One bit per worker.
/// Bits of the workers that the current round waits for. Each worker reads it without the lock at the head of its loop.
std::atomic<unsigned> g_awaited{0};

std::array<int, c_worker_count> g_wake = {-1, -1, -1, -1, -1};
const char g_wake_mark = 0;

/// An unconnected socket. `end_socket` puts it in place of a closed one.
std::atomic<int> g_dead_socket{-1};

thread_local int t_worker = -1;

constexpr unsigned bit_of(Worker _worker) {
    return 1U << static_cast<unsigned>(_worker);
}

/// Starts a round for the waiting records. `_idle` are workers that certainly hold no pointer. No round runs.
void begin_round(unsigned _idle) VORN35_REQUIRES(g_reap_lock) {
    g_passing.swap(g_waiting);
    const unsigned awaited = g_live_workers & ~_idle;
    g_awaited.store(awaited, std::memory_order_release);
    for (unsigned i = 0; i < c_worker_count; ++i) {
        // The calling worker is awake and will reach the head of its loop without a wake-up.
        if ((awaited & (1U << i)) == 0 || static_cast<int>(i) == t_worker) continue;
        wake_worker(static_cast<Worker>(i));
    }
}

/// The worker holds no pointer to a record.
/// @return the records of the rounds that this completes. The caller destroys them after it has released the lock.
retired_t pass(unsigned _bit) VORN35_REQUIRES(g_reap_lock) {
    retired_t done;
    const unsigned awaited = g_awaited.load(std::memory_order_relaxed);
    if ((awaited & _bit) == 0) return done;
    g_awaited.store(awaited & ~_bit, std::memory_order_release);
    while (g_awaited.load(std::memory_order_relaxed) == 0 && !g_passing.empty()) {
        for (Retired& one : g_passing) done.push_back(std::move(one));
        g_passing.clear();
        // This worker holds no pointer and is about to sleep, so the next round need not wait for it.
        if (!g_waiting.empty()) begin_round(_bit);
    }
    return done;
}

void destroy(retired_t _done) {
    for (Retired& one : _done) {
        one.record.reset();
        if (one.ended_socket != -1) ::close(one.ended_socket);
    }
}

constexpr std::array<int*, c_worker_count> c_instances = {&epoll_tcp_init, &epoll_tcp_recv, &epoll_tcp_send,
                                                          &epoll_udp_recv, &epoll_udp_send};

}  // namespace

void reap_open() {
    static_cast<void>(dead_socket());
    for (unsigned i = 0; i < c_worker_count; ++i) {
        g_wake[i] = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
        epoll_event event{};
        event.events = EPOLLIN | EPOLLET;
        event.data.ptr = const_cast<char*>(&g_wake_mark);
        if (::epoll_ctl(*c_instances[i], EPOLL_CTL_ADD, g_wake[i], &event) == 0) continue;
        // No descriptor left. A worker that cannot be woken would block every round, so it must end.
        ::close(*c_instances[i]);
        *c_instances[i] = -1;
    }
}

void reap_close() {
    retired_t left;
    {
        const Lock_guard lock(g_reap_lock);
        left.swap(g_passing);
        for (Retired& one : g_waiting) left.push_back(std::move(one));
        g_waiting.clear();
        g_awaited.store(0, std::memory_order_relaxed);
    }
    destroy(std::move(left));
    for (int& wake : g_wake) {
        ::close(wake);
        wake = -1;
    }
    ::close(g_dead_socket);
    g_dead_socket = -1;
}

void worker_begin(Worker _worker) {
    t_worker = static_cast<int>(_worker);
    const Lock_guard lock(g_reap_lock);
    g_live_workers |= bit_of(_worker);
}

void worker_end(Worker _worker) {
    retired_t done;
    {
        const Lock_guard lock(g_reap_lock);
        g_live_workers &= ~bit_of(_worker);
        done = pass(bit_of(_worker));
    }
    destroy(std::move(done));
}

void worker_pass(Worker _worker) {
    if ((g_awaited.load(std::memory_order_acquire) & bit_of(_worker)) == 0) return;
    retired_t done;
    {
        const Lock_guard lock(g_reap_lock);
        done = pass(bit_of(_worker));
    }
    destroy(std::move(done));
}

void wake_worker(Worker _worker) {
    const std::uint64_t one = 1;
    // Cannot fail: only a 64-bit overflow of the counter could block it.
    [[maybe_unused]] const auto written = ::write(g_wake[static_cast<unsigned>(_worker)], &one, sizeof one);
}

bool is_wake_up(const void* _event_data) {
    return _event_data == &g_wake_mark;
}

Socket dead_socket() {
    // Tries again if no descriptor was free at the start: stopping a worker needs this socket.
    if (g_dead_socket == -1) g_dead_socket = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, IPPROTO_TCP);
    return g_dead_socket;
}

Socket end_socket(struct_epoll_overlapped* _record) {
    const Socket ended = _record->socket.exchange(-1);
    if (ended == -1) return -1;
    (_record->type == c_socket_udp ? g_udp_ready_list : g_tcp_ready_list).remove(_record);
    for (const int* const instance : c_instances) {
        if (*instance != -1) ::epoll_ctl(*instance, EPOLL_CTL_DEL, ended, nullptr);
    }
    // Replaces the socket behind the number atomically, which closes the old one.
    ::dup3(g_dead_socket, ended, O_CLOEXEC);
    return ended;
}

void retire(std::unique_ptr<struct_epoll_overlapped> _record, Socket _ended_socket) {
    const Lock_guard lock(g_reap_lock);
    g_waiting.push_back({std::move(_record), _ended_socket});
    if (g_awaited.load(std::memory_order_relaxed) == 0 && g_live_workers != 0) begin_round(0);
}

}  // namespace Vorn35
