#include "Vorn/INet_Relay/EPoll/ready_list.h"

#include <utility>

namespace Vorn35 {

Ready_list& g_tcp_ready_list = *new Ready_list(Worker::tcp_send);
Ready_list& g_udp_ready_list = *new Ready_list(Worker::udp_send);

namespace {

void wake_senders() {
    g_tcp_ready_list.wake();
    g_udp_ready_list.wake();
}

}  // namespace

void Ready_list::put(struct_epoll_overlapped* _record) {
    bool sleeps = false;
    {
        const Lock_guard guard(lock);
        // Checked under the lock: a thread that ends a record first closes its socket and then removes it from the list.
        if (_record->socket == -1 || _record->parked.empty()) return;
        ready.splice(ready.end(), _record->parked);
        sleeps = asleep;
    }
    if (sleeps) Wakeup_coalescing::request(wake_senders);
}

void Ready_list::remove(struct_epoll_overlapped* _record) {
    const Lock_guard guard(lock);
    if (_record->parked.empty()) _record->parked.splice(_record->parked.end(), ready, _record->node);
}

struct_epoll_overlapped* Ready_list::next() {
    const Lock_guard guard(lock);
    asleep = ready.empty();
    if (asleep) return nullptr;
    struct_epoll_overlapped* const record = ready.front();
    record->parked.splice(record->parked.end(), ready, record->node);
    return record;
}

void Ready_list::awake() {
    const Lock_guard guard(lock);
    asleep = false;
}

void Ready_list::wake() {
    {
        const Lock_guard guard(lock);
        if (ready.empty() || !std::exchange(asleep, false)) return;
    }
    wake_worker(worker);
}

}  // namespace Vorn35
