/// Server side of a connection. Only the send worker ends an established record. When the receive worker finds the end of the
/// stream, it appends the closing marker to the queue.

#include <netinet/in.h>
#include <poll.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <memory>

#include "Vorn/INet_Relay/EPoll/epoll_tcp_method.h"
#include "Vorn/INet_Relay/EPoll/reap.h"
#include "Vorn/INet_Relay/EPoll/socket_call.h"
#include "Vorn/counters.h"
#include "Vorn/options.h"
#include "Vorn/receive_window.h"

namespace Vorn35 {

using namespace counters;

std::map<Port, struct_epoll_overlapped*>& g_server_map = *new std::map<Port, struct_epoll_overlapped*>;
Mutex<lock_order::server> g_establish_server_map_lock;
establish_map_t& g_establish_server_map = *new establish_map_t;

namespace {

int request_recv_server_init(struct_epoll_overlapped_tcp* _record) {
    _record->recv_len = Tcp_header::get_size();
    return watch(epoll_tcp_recv, _record, c_arm_recv) == 0 ? 0 : failed_server_init(_record);
}

int request_send_server_init(struct_epoll_overlapped_tcp* _record) {
    _record->tcp_server_header.set_port_of_sender(_record->local_addr.port);
    _record->tcp_server_header.set_port_of_receiver(_record->remote_addr.port);
    _record->send_len = Tcp_header::get_size();
    return watch(epoll_tcp_send, _record, c_arm_send) == 0 ? 0 : failed_server_init(_record);
}

/// The failure concerns one connection only; the next `accept` may succeed.
bool is_passing_failure(int _errno) {
    switch (_errno) {
        case ECONNABORTED:
        case EPROTO:
        case ENETDOWN:
        case ENOPROTOOPT:
        case EHOSTDOWN:
        case ENONET:
        case EHOSTUNREACH:
        case EOPNOTSUPP:
        case ENETUNREACH:
            return true;
        default:
            return false;
    }
}

/// The failure lasts until the process, or the host, has more of something.
bool is_out_of_resources(int _errno) {
    return _errno == EMFILE || _errno == ENFILE || _errno == ENOBUFS || _errno == ENOMEM;
}

/// Connections wait that could not be accepted.
std::atomic<bool> g_accept_paused{false};

/// The kernel refused a descriptor although no connection waits: it reserves the descriptor before it looks for one.
bool is_refused_in_vain(int _errno, Socket _listener) {
    if (_errno != EMFILE && _errno != ENFILE) return false;
    pollfd waiting{_listener, POLLIN, 0};
    return uninterrupted([&] { return ::poll(&waiting, 1, 0); }) == 0;
}

}  // namespace

int add_server(Port* _port_) {
    Port port = *_port_;
    if (const int failure = request_listen(&port); failure != 0) throw failure;
    if (const int failure = add_udp(port); failure != 0) {
        del_server(port);
        throw failure;
    }
    *_port_ = port;
    return 0;
}

int request_listen(Port* _port_) {
    const Socket fd = ::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, IPPROTO_TCP);
    if (fd == -1) return errno;
    sockaddr_in local{};
    local.sin_family = AF_INET;
    local.sin_port = htons(*_port_);
    socklen_t length = sizeof local;
    if (::bind(fd, reinterpret_cast<const sockaddr*>(&local), sizeof local) == -1 ||
        ::getsockname(fd, reinterpret_cast<sockaddr*>(&local), &length) == -1 || ::listen(fd, g_listen_backlog) == -1) {
        const int failure = errno;
        ::close(fd);
        return failure;
    }
    *_port_ = ntohs(local.sin_port);
    auto* const listener =
        new struct_epoll_overlapped(fd, c_socket_listener, Addr(local.sin_addr.s_addr, ntohs(local.sin_port)));
    g_server_map[*_port_] = listener;
    const int result = watch(epoll_tcp_init, listener, c_watch_input);
    if (result != 0) close_listener(*_port_);
    return result;
}

void del_server(Port _port) {
    del_udp(_port);
    close_listener(_port);
}

void close_listener(Port _port) {
    const auto found = g_server_map.find(_port);
    if (found == g_server_map.end()) return;
    std::unique_ptr<struct_epoll_overlapped> listener(found->second);
    g_server_map.erase(found);
    const Socket ended = end_socket(listener.get());
    retire(std::move(listener), ended);
}

int accept(struct_epoll_overlapped* _listener) {
    // The listener is edge-triggered, so accept all connections that wait.
    for (;;) {
        sockaddr_in peer{};
        socklen_t length = sizeof peer;
        const Socket fd = uninterrupted([&] {
            return ::accept4(_listener->socket, reinterpret_cast<sockaddr*>(&peer), &length,
                             SOCK_NONBLOCK | SOCK_CLOEXEC);
        });
        if (fd == -1) {
            const int failure = errno;
            if (is_would_block(failure) || _listener->socket == -1) return 0;
            if (!is_passing_failure(failure) && is_refused_in_vain(failure, _listener->socket)) return 0;
            if (g_options.retry_resources && is_out_of_resources(failure)) {
                count(Counter::accepts_paused);
                g_accept_paused = true;
                return 0;
            }
            count(Counter::accepts_failed);
            if (is_passing_failure(failure)) continue;
            return -1;
        }
        const Addr remote(peer.sin_addr.s_addr, ntohs(peer.sin_port));
        auto* const record = new_overlapped_tcp(fd, c_socket_init_server, _listener->local_addr, remote);
        set_option(record, g_server_nagle_off_use);
        request_recv_server_init(record);
    }
}

void resume_accepts() {
    if (!g_accept_paused.exchange(false)) return;
    // An edge-triggered socket that is armed again reports what waits already.
    for (const auto& [port, listener] : g_server_map) arm(epoll_tcp_init, listener, c_watch_input);
}

int recv_server_init(struct_epoll_overlapped_tcp* _record) {
    switch (recv_opening(_record, &_record->tcp_client_header)) {
        case Exchange::failed:
            return failed_server_init(_record);
        case Exchange::under_way:
            return 0;
        case Exchange::done:
            break;
    }
    _record->gate_port_of_local = _record->tcp_client_header.get_port_of_receiver();
    return request_send_server_init(_record);
}

int send_server_init(struct_epoll_overlapped_tcp* _record) {
    switch (send_opening(_record, &_record->tcp_server_header)) {
        case Exchange::failed:
            return failed_server_init(_record);
        case Exchange::under_way:
            return 0;
        case Exchange::done:
            break;
    }
    _record->type = c_socket_server;
    // Armed for receiving only after the notice: the loss is reported after the connection.
    establish_accept(_record);
    request_recv_header(_record);
    arm(epoll_tcp_recv, _record, c_arm_recv);
    return 0;
}

int establish_accept(struct_epoll_overlapped_tcp* _record) {
    {
        const Lock_guard lock(g_establish_server_map_lock);
        // If the address is taken, the record is in no table: its connection is reported, and its end is not.
        g_establish_server_map.emplace(_record->remote_addr, _record);
    }
    _record->receive_window = g_receive_windows.open(_record, Addr());
    count(Counter::services_connected);
    post_connection_event(_record, &Packet::set_tcp_connected_from_client, VORN_ERR_NONE_, relay_clock());
    return 0;
}

int unestablish_accept(struct_epoll_overlapped_tcp* _record) {
    const Lock_guard lock(g_establish_server_map_lock);
    const auto found = g_establish_server_map.find(_record->remote_addr);
    if (found == g_establish_server_map.end() || found->second != _record) return 0;
    g_establish_server_map.erase(found);
    count(Counter::services_lost);
    // Under the lock, so `send_sdk` must not call `send_tcp_server` for it (inet_relay.h).
    post_connection_event(_record, &Packet::set_tcp_disconnected_from_client, VORN_ERR_DISCONNECTED_TCP_,
                          relay_clock());
    return 0;
}

int shutdown_server(struct_epoll_overlapped_tcp* _record) {
    _record->recv_token.free();
    unestablish_accept(_record);
    const Wakeup_coalescing coalescing;
    const Lock_guard lock(_record->send_queue_lock);
    if (!_record->ended) queue_closing_marker(_record);
    return 0;
}

int failed_send_server(struct_epoll_overlapped_tcp* _record) {
    unestablish_accept(_record);
    return delete_overlapped(_record);
}

int failed_server_init(struct_epoll_overlapped_tcp* _record) {
    count(Counter::accepts_failed);
    return delete_overlapped(_record);
}

namespace {

bool is_acknowledged(const Packet* _pkt) {
    return _pkt->is_signal_return() || _pkt->is_call_return();
}

}  // namespace

void wait_ack(struct_epoll_overlapped_tcp* _record, Token _token, Packet* _pkt_) {
    if (!is_acknowledged(_pkt_)) return;
    Token waiting;
    waiting.set_header(_token);
    const Lock_guard lock(_record->ack_wait_q_lock);
    _record->ack_wait_q.push(waiting);
}

void unwait_ack(struct_epoll_overlapped_tcp* _record, Packet* _pkt_) {
    if (!is_acknowledged(_pkt_)) return;
    const Lock_guard lock(_record->ack_wait_q_lock);
    // A faulty peer may have acknowledged a return that it did not receive.
    if (_record->ack_wait_q.empty()) return;
    // The newest entry. The send queue still holds a reference to its block.
    Token waiting = _record->ack_wait_q.all().back();
    _record->ack_wait_q.pop_back();
    waiting.free();
}

void take_ack(struct_epoll_overlapped_tcp* _record) {
    const Lock_guard lock(_record->ack_wait_q_lock);
    if (_record->ack_wait_q.empty()) return;
    _record->ack_wait_q.front().free();
    _record->ack_wait_q.pop();
}

namespace {

int send_to_client(Addr _proxy_addr, Token _token, Packet* _pkt_, bool _is_droppable) {
    const Wakeup_coalescing coalescing;
    const Lock_guard lock(g_establish_server_map_lock);
    const auto found = g_establish_server_map.find(_proxy_addr);
    if (found == g_establish_server_map.end()) {
        count(By_kind::unsent, _pkt_->get_msg_type());
        return -1;
    }
    struct_epoll_overlapped_tcp* const record = found->second;
    record->send_clk = relay_clock();
    _pkt_->set_client_gate_port(0);
    const Lock_guard queue_lock(record->send_queue_lock);
    if (_is_droppable && !record->send_queue.empty()) {
        count(By_kind::droppable_dropped, _pkt_->get_msg_type());
        _token.free();
        return 0;
    }
    if (!has_room(record, _pkt_)) {
        // The client waits for an answer that it will not get: it learns so by the end of its connection.
        if (_pkt_->is_answer()) ::shutdown(record->socket, SHUT_RDWR);
        return -1;
    }
    queue_message(record, _token, _pkt_);
    return 0;
}

}  // namespace

int send_tcp_server(Addr _proxy_addr, Token _token, Packet* _pkt_) {
    return send_to_client(_proxy_addr, _token, _pkt_, _pkt_->is_information_udp());
}

int send_tcp_server_kept(Addr _proxy_addr, Token _token, Packet* _pkt_) {
    return send_to_client(_proxy_addr, _token, _pkt_, false);
}

void print_server() {
    const Lock_guard lock(g_establish_server_map_lock);
    for (const auto& [addr, record] : g_establish_server_map) static_cast<void>(record);
}

}  // namespace Vorn35
