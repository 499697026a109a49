/// Client side of a connection. Invariants:
///  1. A client record is in exactly one table, or in none while its worker is about to end it.
///  2. A record reaches a worker with one socket only. An attempt that fails inside `request_connect` keeps its record, which
///     no worker has seen; each later failure makes a new record.
///  3. Only `del_client` gives up the intent to connect. A thread that ends a record takes it out of its table and adds its
///     successor under one hold of `g_client_lock`, so `del_client` always finds one of the two.

#include <netinet/in.h>

#include <sys/epoll.h>
#include <unistd.h>

#include <cerrno>

#include "Vorn/INet_Relay/EPoll/epoll_tcp_method.h"
#include "Vorn/INet_Relay/EPoll/ready_list.h"
#include "Vorn/INet_Relay/EPoll/reap.h"
#include "Vorn/INet_Relay/EPoll/socket_call.h"
#include "Vorn/counters.h"
#include "Vorn/options.h"
#include "Vorn/receive_window.h"

namespace Vorn35 {

using namespace counters;

Mutex<lock_order::client> g_client_lock;
connect_map_t& g_connect_map = *new connect_map_t;
establish_map_t& g_establish_client_map = *new establish_map_t;
connect_map_t& g_connect_fail_map = *new connect_map_t;
std::set<struct_epoll_overlapped_tcp*>& g_closing_clients = *new std::set<struct_epoll_overlapped_tcp*>;

namespace {

bool holds(const establish_map_t& _map, Addr _addr, const struct_epoll_overlapped_tcp* _other_than) {
    const auto found = _map.find(_addr);
    return found != _map.end() && found->second != _other_than;
}

/// A later `add_client` uses the record's address again.
bool has_successor(const struct_epoll_overlapped_tcp* _record) VORN35_REQUIRES(g_client_lock) {
    const Addr addr = _record->remote_addr;
    return holds(g_connect_map, addr, _record) || holds(g_establish_client_map, addr, _record) ||
           holds(g_connect_fail_map, addr, _record);
}

/// Removes the record from its table.
void untable(struct_epoll_overlapped_tcp* _record) VORN35_REQUIRES(g_client_lock) {
    for (establish_map_t* map : {&g_connect_map, &g_establish_client_map}) {
        const auto found = map->find(_record->remote_addr);
        if (found != map->end() && found->second == _record) map->erase(found);
    }
    g_closing_clients.erase(_record);
}

/// Removes the record from its table and schedules the next attempt, unless its `Proxy` was stopped.
void untable_and_plan_reconnect(struct_epoll_overlapped_tcp* _record) VORN35_REQUIRES(g_client_lock) {
    untable(_record);
    const Addr addr = _record->remote_addr;
    if (_record->b_remove_client || g_connect_fail_map.contains(addr)) return;
    g_connect_fail_map.emplace(addr, new_overlapped_tcp(-1, c_socket_init_client, Addr(), addr));
}

/// Moves a removed record aside, so that its successor can use the address.
void set_aside(establish_map_t* _map, Addr _addr) VORN35_REQUIRES(g_client_lock) {
    const auto found = _map->find(_addr);
    if (found == _map->end() || !found->second->b_remove_client) return;
    g_closing_clients.insert(found->second);
    _map->erase(found);
}

int request_send_client_init(struct_epoll_overlapped_tcp* _record) {
    _record->tcp_client_header.set_port_of_sender(_record->local_addr.port);
    _record->tcp_client_header.set_port_of_receiver(_record->remote_addr.port);
    _record->send_len = Tcp_header::get_size();
    return watch(epoll_tcp_send, _record, c_arm_send) == 0 ? 0 : failed_connect_init(_record);
}

int request_recv_client_init(struct_epoll_overlapped_tcp* _record) {
    _record->recv_len = Tcp_header::get_size();
    return watch(epoll_tcp_recv, _record, c_arm_recv) == 0 ? 0 : failed_connect_init(_record);
}

}  // namespace

int add_client(Addr _stub_addr) {
    if (const int failure = add_udp(_stub_addr.port); failure != 0) return failure;
    admit_multicast(_stub_addr.port);
    const Lock_guard lock(g_client_lock);
    set_aside(&g_connect_map, _stub_addr);
    set_aside(&g_establish_client_map, _stub_addr);
    auto* const record = new_overlapped_tcp(-1, c_socket_init_client, Addr(), _stub_addr);
    if (request_connect(record) != 0) g_connect_fail_map.emplace(_stub_addr, record);
    return 0;
}

int request_connect(struct_epoll_overlapped_tcp* _record) {
    _record->begun = relay_clock();
    _record->send_clk = _record->begun;
    const Socket fd = ::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, IPPROTO_TCP);
    if (fd == -1) {
        count(Counter::connects_failed);
        return errno;
    }
    sockaddr_in local{};
    local.sin_family = AF_INET;
    // Any address and port. The connect reports a failure.
    static_cast<void>(::bind(fd, reinterpret_cast<const sockaddr*>(&local), sizeof local));
    sockaddr_in remote{};
    remote.sin_family = AF_INET;
    remote.sin_addr.s_addr = _record->remote_addr.ip;
    remote.sin_port = htons(_record->remote_addr.port);
    _record->socket = fd;
    if ((::connect(fd, reinterpret_cast<const sockaddr*>(&remote), sizeof remote) == -1 && errno != EINPROGRESS) ||
        watch(epoll_tcp_init, _record, c_arm_send) != 0) {
        const int failure = errno;
        count(Counter::connects_failed);
        _record->socket = -1;
        ::close(fd);
        return failure;
    }
    g_connect_map[_record->remote_addr] = _record;
    return 0;
}

int completed_connect(struct_epoll_overlapped_tcp* _record) {
    set_option(_record, g_client_nagle_off_use);
    // If no process listens on the dialled port, the kernel may choose it for our end, and the connect reaches itself.
    if (_record->local_addr == _record->remote_addr) return failed_connect(_record);
    ::epoll_ctl(epoll_tcp_init, EPOLL_CTL_DEL, _record->socket, nullptr);
    return request_send_client_init(_record);
}

int failed_connect(struct_epoll_overlapped_tcp* _record) {
    return failed_connect_init(_record);
}

int failed_connect_init(struct_epoll_overlapped_tcp* _record) {
    count(Counter::connects_failed);
    {
        const Lock_guard lock(g_client_lock);
        untable_and_plan_reconnect(_record);
    }
    return delete_overlapped(_record);
}

int send_client_init(struct_epoll_overlapped_tcp* _record) {
    switch (send_opening(_record, &_record->tcp_client_header)) {
        case Exchange::failed:
            return failed_connect_init(_record);
        case Exchange::under_way:
            return 0;
        case Exchange::done:
            return request_recv_client_init(_record);
    }
    return 0;
}

int recv_client_init(struct_epoll_overlapped_tcp* _record) {
    switch (recv_opening(_record, &_record->tcp_server_header)) {
        case Exchange::failed:
            return failed_connect_init(_record);
        case Exchange::under_way:
            return 0;
        case Exchange::done:
            break;
    }
    _record->gate_port_of_local = _record->tcp_server_header.get_port_of_receiver();
    _record->type = c_socket_client;
    request_recv_header(_record);
    establish_connect(_record);
    arm(epoll_tcp_recv, _record, c_arm_recv);
    return 0;
}

int establish_connect(struct_epoll_overlapped_tcp* _record) {
    bool wanted = false;
    // Taken under the lock: so the times of a loss and of the next connection to the address have the order of the events,
    // whatever the order of their notices.
    ks_clock_t made;
    {
        const Lock_guard lock(g_client_lock);
        made = relay_clock();
        wanted = !_record->b_remove_client;
        const auto found = g_connect_map.find(_record->remote_addr);
        if (found != g_connect_map.end() && found->second == _record) {
            g_connect_map.erase(found);
            g_establish_client_map[_record->remote_addr] = _record;
        }
    }
    // If its `Proxy` was stopped meanwhile, there is no receiver for the notice; a successor must not get it.
    _record->receive_window = g_receive_windows.open(_record, _record->remote_addr);
    count(Counter::clients_connected);
    if (!wanted && g_options.complete_stops) {
        // The closing marker of `del_client` waits in the queue, and nothing was armed for it.
        g_tcp_ready_list.put(_record);
    }
    if (wanted) {
        post_connection_event(_record, &Packet::set_tcp_connected_to_server, VORN_ERR_NONE_, made);
    }
    return 0;
}

int unestablish_connect(struct_epoll_overlapped_tcp* _record) {
    bool heard = true;
    ks_clock_t made;
    {
        const Lock_guard lock(g_client_lock);
        made = relay_clock();
        heard = !(_record->b_remove_client && has_successor(_record));
        untable_and_plan_reconnect(_record);
    }
    // The record is in no table now, so `del_client` cannot change it.
    if (!_record->b_remove_client) count(Counter::clients_lost);
    if (heard) {
        post_connection_event(_record, &Packet::set_tcp_disconnected_from_server, VORN_ERR_DISCONNECTED_TCP_, made);
    }
    return 0;
}

int close_client(struct_epoll_overlapped_tcp* _record) {
    return delete_overlapped(_record);
}

/// The receive worker finds the failure and ends the record.
int failed_send_client(struct_epoll_overlapped_tcp* _record) {
    const Lock_guard lock(_record->send_queue_lock);
    _record->send_state = false;
    return 0;
}

int completed_recv_client_header(struct_epoll_overlapped_tcp* _record) {
    Packet* const pkt = _record->recv_token.get_header_packet();
    if (!pkt->is_signal_return() && !pkt->is_call_return()) return 0;
    Token ack;
    ack.alloc_header_force();
    Packet* const ack_pkt = ack.get_header_packet();
    *ack_pkt = *pkt;
    ack_pkt->set_swap_address(pkt);
    ack_pkt->set_swap_acktype();
    ack_pkt->set_data_size(0);
    const Lock_guard lock(_record->send_queue_lock);
    queue_message(_record, ack, ack_pkt);
    return 0;
}

int send_tcp_client(Addr _node_addr, Token _token, Packet* _pkt_) {
    const Wakeup_coalescing coalescing;
    const Lock_guard lock(g_client_lock);
    const auto found = g_establish_client_map.find(_node_addr);
    // Between a loss and its notice the `Proxy` is still live: its requests fail here, as VORN_ERR_BUSY_LOCALHOST_.
    if (found == g_establish_client_map.end() || found->second->b_cut) {
        count(By_kind::unsent, _pkt_->get_msg_type());
        return -1;
    }
    struct_epoll_overlapped_tcp* const record = found->second;
    record->send_clk = relay_clock();
    _pkt_->set_client_gate_port(record->gate_port_of_local);
    const Lock_guard queue_lock(record->send_queue_lock);
    // A closing connection sends no more. Deliberately, the message counts as accepted, and its blocks are not freed.
    if (record->b_remove_client) {
        count(By_kind::unsent, _pkt_->get_msg_type());
        return 0;
    }
    if (!record->send_queue.empty() && _pkt_->is_command_udp()) {
        count(By_kind::droppable_dropped, _pkt_->get_msg_type());
        _token.free();
        return 0;
    }
    if (!has_room(record, _pkt_)) return -1;
    queue_message(record, _token, _pkt_);
    return 0;
}

void del_client(Addr _stub_addr) {
    del_udp(_stub_addr.port);
    const Wakeup_coalescing coalescing;
    const Lock_guard lock(g_client_lock);
    if (const auto found = g_establish_client_map.find(_stub_addr); found != g_establish_client_map.end()) {
        struct_epoll_overlapped_tcp* const record = found->second;
        record->send_clk = relay_clock();
        const Lock_guard queue_lock(record->send_queue_lock);
        if (!record->b_remove_client) {
            record->b_remove_client = true;
            queue_closing_marker(record);
        }
    }
    if (const auto found = g_connect_map.find(_stub_addr); found != g_connect_map.end()) {
        struct_epoll_overlapped_tcp* const record = found->second;
        record->send_clk = relay_clock();
        const Lock_guard queue_lock(record->send_queue_lock);
        if (!record->b_remove_client) {
            record->b_remove_client = true;
            // Arms nothing: the opening exchange continues, and the peer must close the connection.
            record->send_state = true;
            record->send_buf = nullptr;
            record->send_queue.push(Token{});
        }
    }
    if (const auto found = g_connect_fail_map.find(_stub_addr); found != g_connect_fail_map.end()) {
        delete_overlapped(found->second);
        g_connect_fail_map.erase(found);
    }
}

Port get_gate_port_of_local(Addr node_addr) {
    const Lock_guard lock(g_client_lock);
    const auto found = g_establish_client_map.find(node_addr);
    return found == g_establish_client_map.end() ? Port{0} : found->second->gate_port_of_local;
}

void print_client() {
    const Lock_guard lock(g_client_lock);
    for (const auto& [addr, record] : g_establish_client_map) static_cast<void>(record);
}

}  // namespace Vorn35
