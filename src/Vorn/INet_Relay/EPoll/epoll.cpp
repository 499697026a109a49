#include "Vorn/INet_Relay/EPoll/epoll.h"

#include <sys/epoll.h>
#include <sys/socket.h>

#include <thread>
#include <utility>

#include "Vorn/INet_Relay/EPoll/reap.h"
#include "Vorn/counters.h"
#include "Vorn/receive_window.h"

namespace Vorn35 {

Mutex<lock_order::ooo> ooo;
int ooo_count = 0;
std::set<struct_epoll_overlapped_tcp*>& g_tcp_records = *new std::set<struct_epoll_overlapped_tcp*>;

namespace {

void free_all(token_queue_t* _queue) {
    for (; !_queue->empty(); _queue->pop()) _queue->front().free();
}

int control(int _operation, int _epoll, struct_epoll_overlapped* _record, std::uint32_t _events) {
    epoll_event event{};
    event.events = _events;
    event.data.ptr = _record;
    _record->handoff.fetch_add(1, std::memory_order_release);
    return ::epoll_ctl(_epoll, _operation, _record->socket, &event);
}

/// Retires a record that is in no table.
void destroy_overlapped_tcp(std::unique_ptr<struct_epoll_overlapped_tcp> _record, Socket _ended) {
    {
        const Lock_guard lock(ooo);
        --ooo_count;
        g_tcp_records.erase(_record.get());
    }
    retire(std::move(_record), _ended);
}

}  // namespace

struct_epoll_overlapped_ex::~struct_epoll_overlapped_ex() {
    recv_token.free();
    free_all(&send_queue);
}

struct_epoll_overlapped_tcp::~struct_epoll_overlapped_tcp() {
    free_all(&ack_wait_q);
}

ks_clock_t relay_clock() {
    return std::chrono::steady_clock::now();
}

int watch(int _epoll, struct_epoll_overlapped* _record, std::uint32_t _events) {
    return control(EPOLL_CTL_ADD, _epoll, _record, _events);
}

void arm(int _epoll, struct_epoll_overlapped* _record, std::uint32_t _events) {
    control(EPOLL_CTL_MOD, _epoll, _record, _events);
}

struct_epoll_overlapped_tcp* new_overlapped_tcp(Socket _socket, enum_socket_type _type, Addr _local_addr,
                                                Addr _remote_addr) {
    auto* const record = new struct_epoll_overlapped_tcp(_socket, _type, _local_addr, _remote_addr);
    const Lock_guard lock(ooo);
    ++ooo_count;
    g_tcp_records.insert(record);
    return record;
}

void wait_for_write(struct_epoll_overlapped_tcp* _record) {
    while (_record->in_flight != 0) {
        _record->send_queue_lock.unlock();
        std::this_thread::yield();
        _record->send_queue_lock.lock();
    }
}

int delete_overlapped(struct_epoll_overlapped_tcp* _record) {
    token_queue_t undelivered;
    Socket ended = -1;
    {
        const Lock_guard lock(_record->send_queue_lock);
        wait_for_write(_record);
        if (_record->ended) return 0;
        _record->ended = true;
        g_receive_windows.close(_record->receive_window);
        _record->send_state = false;
        undelivered.swap(_record->send_queue);
        ended = end_socket(_record);
    }
    const bool server = _record->is_server_side();
    for (; !undelivered.empty(); undelivered.pop()) {
        return_undelivered(undelivered.front(), VORN_ERR_NOT_CONNECTED_TCP_, server);
    }
    destroy_overlapped_tcp(std::unique_ptr<struct_epoll_overlapped_tcp>(_record), ended);
    return 0;
}

void return_undelivered(Token _token, Error _error, bool _to_stub) {
    if (!_token.has_header()) return;
    counters::count(counters::By_kind::undelivered, _token.get_header_packet()->get_msg_type());
    _token.free_data();
    // Heartbeats and acknowledgements share headers, so the error form is made on a copy.
    Token notice;
    notice.alloc_header_force();
    Packet* const pkt = notice.get_header_packet();
    *pkt = *_token.get_header_packet();
    pkt->set_window(0);
    const bool is_return = pkt->is_signal_return() || pkt->is_call_return() || pkt->is_delegate_signal_return() ||
                           pkt->is_delegate_call_return();
    const bool has_form = pkt->backward_error_switch(_error);
    // The return was addressed to a `Proxy`, but its cancel goes to the local `Stub`.
    if (_to_stub && is_return) pkt->set_client_gate_port(pkt->get_src_port());
    if (!has_form || send_sdk__.load()(notice, pkt) != 0) notice.free();
    _token.free_header();
}

void clear_tcp_records() {
    g_connect_map.clear();
    g_establish_client_map.clear();
    g_connect_fail_map.clear();
    g_closing_clients.clear();
    g_establish_server_map.clear();
    while (!g_tcp_records.empty()) {
        std::unique_ptr<struct_epoll_overlapped_tcp> record(*g_tcp_records.begin());
        g_receive_windows.close(record->receive_window);
        const Socket ended = end_socket(record.get());
        destroy_overlapped_tcp(std::move(record), ended);
    }
}

void print_ooo() {
    const Lock_guard lock(ooo);
}

}  // namespace Vorn35
