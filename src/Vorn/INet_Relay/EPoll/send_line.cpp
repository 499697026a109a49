#include "Vorn/INet_Relay/EPoll/send_line.h"

#include <utility>

namespace Vorn35 {

Send_line& g_tcp_send_line = *new Send_line(Worker::tcp_send);
Send_line& g_udp_send_line = *new Send_line(Worker::udp_send);

namespace {

void wake_senders() {
    g_tcp_send_line.wake();
    g_udp_send_line.wake();
}

}  // namespace

void Send_line::put(struct_epoll_overlapped* _record) {
    bool sleeps = false;
    {
        const Lock_guard guard(lock);
        // Looked at under the lock: who ends a record closes its socket first and takes it out of the line then.
        if (_record->socket == -1 || _record->place.empty()) return;
        line.splice(line.end(), _record->place);
        sleeps = asleep;
    }
    if (sleeps) Burst::wake_at_end(wake_senders);
}

void Send_line::remove(struct_epoll_overlapped* _record) {
    const Lock_guard guard(lock);
    if (_record->place.empty()) _record->place.splice(_record->place.end(), line, _record->node);
}

struct_epoll_overlapped* Send_line::next() {
    const Lock_guard guard(lock);
    asleep = line.empty();
    if (asleep) return nullptr;
    struct_epoll_overlapped* const record = line.front();
    record->place.splice(record->place.end(), line, record->node);
    return record;
}

void Send_line::awake() {
    const Lock_guard guard(lock);
    asleep = false;
}

void Send_line::wake() {
    {
        const Lock_guard guard(lock);
        if (line.empty() || !std::exchange(asleep, false)) return;
    }
    wake_worker(worker);
}

}  // namespace Vorn35
