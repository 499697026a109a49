#include "Vorn/INet_Relay/EPoll/epoll_tcp_method.h"

#include <netinet/in.h>
#include <netinet/tcp.h>

#include <algorithm>
#include <cstring>
#include <new>

#include "Vorn/INet_Relay/EPoll/ready_list.h"
#include "Vorn/INet_Relay/EPoll/socket_call.h"
#include "Vorn/counters.h"
#include "Vorn/options.h"
#include "Vorn/receive_window.h"

namespace Vorn35 {

using namespace counters;

namespace {

/// Bytes that one system call reads beyond the expected piece: usually the messages that follow it.
constexpr std::size_t c_read_ahead = 16 * 1024;

/// Steps of one connection in one wake-up, before other connections get their turn.
constexpr int c_steps_per_wake_up = 64;
/// The same limit in bytes, for sending.
constexpr std::size_t c_bytes_per_wake_up = 256 * 1024;

/// Cuts the size in the header to the payload that exists, so that no header promises missing bytes.
void bound_payload(Token _token, Packet* _pkt_) {
    const std::size_t held = _token.has_data() ? get_data_size(_token.data_mm) : 0;
    if (_pkt_->get_data_size() > held) _pkt_->set_data_size(static_cast<Pksize>(held));
}

/// Makes the front message the current piece. The queue is not empty.
void start_front(struct_epoll_overlapped_tcp* _record) VORN35_REQUIRES(_record->send_queue_lock) {
    const Token front = _record->send_queue.front();
    const bool marker = !front.has_header();
    _record->send_buf = marker ? nullptr : front.get_header_packet()->get_header();
    _record->send_len = marker ? 0 : Packet::get_header_size();
    _record->header_send = !marker;
}

/// Accounts for bytes that were sent, and frees complete messages.
void departed(struct_epoll_overlapped_tcp* _record, std::size_t _count) VORN35_REQUIRES(_record->send_queue_lock) {
    while (_count != 0) {
        const std::size_t part = std::min(_count, _record->send_len);
        _record->send_buf += part;
        _record->send_len -= part;
        _count -= part;
        if (_record->send_len != 0) return;
        Token& front = _record->send_queue.front();
        if (_record->header_send && front.has_data()) {
            _record->header_send = false;
            _record->send_buf = static_cast<std::uint8_t*>(front.get_data());
            _record->send_len = front.get_header_packet()->get_data_size();
            if (_record->send_len != 0) continue;
        }
        const Packet* const pkt = front.get_header_packet();
        count_traffic(By_kind::sent, By_kind::sent_bytes, pkt->get_msg_type(), pkt->get_packet_size());
        _record->queued_bytes -= pkt->get_packet_size();
        _record->sent_bytes.fetch_add(pkt->get_packet_size(), std::memory_order_relaxed);
        front.free();
        _record->send_queue.pop();
        if (!_record->send_queue.empty()) start_front(_record);
    }
}

/// What one system call sends: the rest of the front message, and the messages behind it.
struct Gathered {
    static constexpr std::size_t c_most = 64;

    iovec pieces[c_most];
    std::size_t count = 0;     ///< Of pieces.
    std::size_t bytes = 0;     ///< In all pieces.
    std::size_t messages = 0;  ///< That they belong to.

    bool takes_more() const { return count + 2 <= c_most && bytes < c_bytes_per_wake_up; }
    void add(void* _begin, std::size_t _size) {
        pieces[count++] = {_begin, _size};
        bytes += _size;
    }
};

/// Sends queued messages; the front entry is a message. Releases the lock during the system call, while the messages in
/// flight stay at the front of the queue.
/// @param _all_ receives whether the socket took all of them.
Transfer send_queued(struct_epoll_overlapped_tcp* _record, std::size_t* _moved_, bool* _all_)
    VORN35_REQUIRES(_record->send_queue_lock) {
    const auto& queue = _record->send_queue.all();
    const bool server = _record->is_server_side();
    const bool front_begun = !_record->header_send || _record->send_len != Packet::get_header_size();
    std::size_t begins[Gathered::c_most];  // where each message begins in what is sent
    Gathered gathered;
    for (; gathered.messages < queue.size() && gathered.takes_more(); ++gathered.messages) {
        const Token token = queue[gathered.messages];
        if (!token.has_header()) break;
        Packet* const pkt = token.get_header_packet();
        const bool front = gathered.messages == 0;
        begins[gathered.messages] = gathered.bytes;
        front ? gathered.add(_record->send_buf, _record->send_len) : gathered.add(pkt->get_header(), sizeof(Header));
        if (token.has_data() && (!front || _record->header_send)) gathered.add(token.get_data(), pkt->get_data_size());
        // Before the write: the acknowledgement may arrive before the system call returns.
        if (server && !(front && front_begun)) wait_ack(_record, token, pkt);
    }
    _record->in_flight = gathered.messages;
    _record->send_queue_lock.unlock();
    const Transfer result = send_stream(_record->socket, gathered.pieces, gathered.count, _moved_);
    _record->send_queue_lock.lock();
    _record->in_flight = 0;
    const std::size_t moved = result == Transfer::moved ? *_moved_ : 0;
    *_all_ = moved == gathered.bytes;
    if (server) {
        for (std::size_t i = gathered.messages; i-- > (front_begun ? 1U : 0U) && begins[i] >= moved;) {
            unwait_ack(_record, queue[i].get_header_packet());
        }
    }
    return result;
}

/// Passes the complete message in `recv_token` to the processor, and prepares for the next one.
void deliver(struct_epoll_overlapped_tcp* _record) {
    Packet* const pkt = _record->recv_token.get_header_packet();
    pkt->set_window(_record->receive_window);
    if (send_sdk__.load()(_record->recv_token, pkt) != 0) _record->recv_token.free();
    _record->recv_token.reset();
    request_recv_header(_record);
}

int request_recv_data(struct_epoll_overlapped_tcp* _record, Pksize _size) {
    if (_record->recv_token.alloc_data(_size) != 0) throw std::bad_alloc();
    _record->recv_len = _size;
    _record->recv_buf = static_cast<std::uint8_t*>(_record->recv_token.get_data());
    return 0;
}

void completed_recv_header(struct_epoll_overlapped_tcp* _record) {
    Packet* const pkt = _record->recv_token.get_header_packet();
    pkt->determine_arrival_clock(_record->recv_clk);
    count_traffic(By_kind::received, By_kind::received_bytes, pkt->get_msg_type(), pkt->get_packet_size());
    _record->received_bytes.fetch_add(pkt->get_packet_size(), std::memory_order_relaxed);
    const bool server = _record->is_server_side();
    if (!server) completed_recv_client_header(_record);

    if (pkt->get_data_size() != 0) {
        request_recv_data(_record, pkt->get_data_size());
    } else if (pkt->is_heartbeat()) {
        request_recv_header(_record);
    } else if (server && (pkt->is_signal_return_ack() || pkt->is_call_return_ack() ||
                          pkt->is_delegate_signal_return_ack() || pkt->is_delegate_call_return_ack())) {
        take_ack(_record);
        request_recv_header(_record);
    } else {
        deliver(_record);
    }
}

/// Accounts for bytes that were read into the current piece.
void arrived(struct_epoll_overlapped_tcp* _record, std::size_t _count) {
    _record->recv_buf += _count;
    _record->recv_len -= _count;
    if (_record->recv_len != 0) return;
    if (_record->recv_token.has_data()) {
        deliver(_record);
    } else {
        completed_recv_header(_record);
    }
}

int end_of_stream(struct_epoll_overlapped_tcp* _record) {
    if (_record->is_server_side()) return shutdown_server(_record);
    unestablish_connect(_record);
    return close_client(_record);
}

}  // namespace

int request_recv_header(struct_epoll_overlapped_tcp* _record) {
    _record->recv_token.reset_data();
    if (!_record->recv_token.has_header()) _record->recv_token.alloc_header_force();
    Packet* const pkt = _record->recv_token.get_header_packet();
    pkt->initialize_packet(_record->local_addr.ip, ks_clock_t{}, c_no_limit);
    const Addr here(c_loopback_ip, _record->gate_port_of_local);
    if (_record->is_server_side()) {
        pkt->set_to_stub(_record->remote_addr, here);
    } else {
        pkt->set_to_proxy(here, _record->remote_addr);
    }
    _record->recv_len = Packet::get_header_size();
    _record->recv_buf = pkt->get_header();
    return 0;
}

int recv_connection(struct_epoll_overlapped_tcp* _record) {
    try {
        for (int step = 0; step < c_steps_per_wake_up; ++step) {
            if (g_receive_windows.pause(_record->receive_window)) return 0;
            // A long payload is read directly into its block. Short messages behind it are copied, which is cheaper than
            // one system call for each piece.
            std::uint8_t ahead[c_read_ahead];
            const std::size_t awaited = _record->recv_len;
            iovec pieces[2] = {{_record->recv_buf, awaited}, {ahead, sizeof ahead}};
            std::size_t moved = 0;
            switch (receive_stream(_record->socket, pieces, 2, &moved)) {
                case Transfer::ended:
                    return end_of_stream(_record);
                case Transfer::would_block:
                    arm(epoll_tcp_recv, _record, c_arm_recv);
                    return 0;
                case Transfer::moved:
                    break;
            }
            _record->recv_clk = relay_clock();
            // Wakes listeners and the send worker once, after all received messages were passed on.
            const Wakeup_coalescing coalescing;
            arrived(_record, std::min(moved, awaited));
            for (std::size_t done = awaited; done < moved;) {
                const std::size_t count = std::min(moved - done, _record->recv_len);
                std::memcpy(_record->recv_buf, ahead + (done - awaited), count);
                done += count;
                arrived(_record, count);
            }
            // A short read: the socket is empty. But the rest of a payload usually arrives soon, so try once more.
            if (moved < awaited + sizeof ahead && !_record->recv_token.has_data()) break;
        }
        if (!g_receive_windows.pause(_record->receive_window)) arm(epoll_tcp_recv, _record, c_arm_recv);
        return 0;
    } catch (const std::bad_alloc&) {
        // No memory for a message: without it, the next message in the stream cannot be found.
        count(Counter::payloads_without_memory);
        return end_of_stream(_record);
    }
}

int send_connection(struct_epoll_overlapped_tcp* _record) {
    Unique_lock lock(_record->send_queue_lock);
    if (_record->ended) return 0;
    std::size_t total = 0;
    for (int step = 0; step < c_steps_per_wake_up && total < c_bytes_per_wake_up; ++step) {
        if (_record->send_queue.empty()) {
            _record->send_state = false;
            return 0;
        }
        if (_record->send_buf == nullptr) {
            _record->send_queue.pop();
            _record->send_state = false;
            ::shutdown(_record->socket, SHUT_WR);
            lock.unlock();
            // An accepted connection ends here. A client waits until the peer closes, too.
            if (_record->is_server_side()) delete_overlapped(_record);
            return 0;
        }
        std::size_t moved = 0;
        bool all = false;
        switch (send_queued(_record, &moved, &all)) {
            case Transfer::ended:
                _record->send_state = false;
                // The receive worker finds the failure, unless it has already finished with this record.
                if (_record->is_server_side() && !_record->send_queue.back().has_header()) {
                    lock.unlock();
                    delete_overlapped(_record);
                }
                return 0;
            case Transfer::moved:
                total += moved;
                _record->send_clk = relay_clock();
                departed(_record, moved);
                if (all) continue;
                break;
            case Transfer::would_block:
                break;
        }
        arm(epoll_tcp_send, _record, c_arm_send);
        return 0;
    }
    g_tcp_ready_list.put(_record);
    return 0;
}

void queue_message(struct_epoll_overlapped_tcp* _record, Token _token, Packet* _pkt_) {
    bound_payload(_token, _pkt_);
    const bool idle = _record->send_queue.empty();
    _record->send_queue.push(_token);
    _record->queued_bytes += _pkt_->get_packet_size();
    if (!idle) return;
    start_front(_record);
    _record->send_state = true;
    g_tcp_ready_list.put(_record);
}

bool has_room(const struct_epoll_overlapped_tcp* _record, const Packet* _pkt) {
    if (g_options.send_bytes == 0 || _record->send_queue.empty()) return true;
    if (_record->queued_bytes + _pkt->get_packet_size() <= g_options.send_bytes) return true;
    count(By_kind::send_bound, _pkt->get_msg_type());
    return false;
}

void queue_closing_marker(struct_epoll_overlapped_tcp* _record) {
    const bool idle = _record->send_queue.empty();
    _record->send_queue.push(Token{});
    if (idle) start_front(_record);
    // A failed send leaves a stalled queue: the worker must run again, find the failure, and end the record.
    if (idle || !_record->send_state) {
        _record->send_state = true;
        g_tcp_ready_list.put(_record);
    }
}

void post_connection_event(struct_epoll_overlapped_tcp* _record, void (Packet::*_set_marker)(), Error _error,
                           ks_clock_t _made) {
    Token token;
    token.alloc_header_force();
    Packet* const pkt = token.get_header_packet();
    pkt->initialize_packet(_record->local_addr.ip, _made, c_no_limit);
    const Addr here(c_loopback_ip, _record->gate_port_of_local);
    if (_record->is_server_side()) {
        pkt->set_to_stub(_record->remote_addr, here);
    } else {
        pkt->set_to_proxy(here, _record->remote_addr);
    }
    pkt->initialize_header(0, 0, EMsg::null, 0, _error);
    pkt->set_control_type();
    (pkt->*_set_marker)();
    if (send_sdk__.load()(token, pkt) != 0) token.free();
}

Exchange send_opening(struct_epoll_overlapped_tcp* _record, Tcp_header* _header) {
    while (_record->send_len != 0) {
        auto* const bytes = reinterpret_cast<std::uint8_t*>(_header);
        iovec piece{bytes + (Tcp_header::get_size() - _record->send_len), _record->send_len};
        std::size_t moved = 0;
        switch (send_stream(_record->socket, &piece, 1, &moved)) {
            case Transfer::ended:
                return Exchange::failed;
            case Transfer::would_block:
                arm(epoll_tcp_send, _record, c_arm_send);
                return Exchange::under_way;
            case Transfer::moved:
                break;
        }
        _record->send_clk = relay_clock();
        _record->send_len -= moved;
    }
    return Exchange::done;
}

Exchange recv_opening(struct_epoll_overlapped_tcp* _record, Tcp_header* _header_) {
    while (_record->recv_len != 0) {
        auto* const bytes = reinterpret_cast<std::uint8_t*>(_header_);
        std::size_t moved = 0;
        iovec piece{bytes + (Tcp_header::get_size() - _record->recv_len), _record->recv_len};
        switch (receive_stream(_record->socket, &piece, 1, &moved)) {
            case Transfer::ended:
                return Exchange::failed;
            case Transfer::would_block:
                arm(epoll_tcp_recv, _record, c_arm_recv);
                return Exchange::under_way;
            case Transfer::moved:
                break;
        }
        _record->recv_clk = relay_clock();
        _record->recv_len -= moved;
    }
    return Exchange::done;
}

void set_option(struct_epoll_overlapped_tcp* _record, bool _nagle_off) {
    if (_nagle_off) {
        const int on = 1;
        ::setsockopt(_record->socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    }
    sockaddr_in local{};
    socklen_t length = sizeof local;
    ::getsockname(_record->socket, reinterpret_cast<sockaddr*>(&local), &length);
    _record->local_addr = Addr(local.sin_addr.s_addr, ntohs(local.sin_port));
    _record->gate_port_of_local = _record->local_addr.port;
}

}  // namespace Vorn35
