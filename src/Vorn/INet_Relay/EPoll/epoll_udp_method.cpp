/// One UDP socket per port, shared by reference count. No acknowledgements, no retries, no connections.

#include <netinet/in.h>
#include <sys/epoll.h>

#include <cerrno>
#include <cstring>
#include <memory>

#include "Vorn/INet_Relay/EPoll/epoll_tcp_method.h"
#include "Vorn/INet_Relay/EPoll/ready_list.h"
#include "Vorn/INet_Relay/EPoll/socket_call.h"
#include "Vorn/counters.h"
#include "Vorn/receive_window.h"

namespace Vorn35 {

using namespace counters;

Mutex<lock_order::udp_refs> g_udp_refs_mutex;
udp_refs_t& g_udp_refs = *new udp_refs_t;
Mutex<lock_order::udp_map> g_udp_map_lock;
udp_map_t& g_udp_map = *new udp_map_t;

namespace {

/// Datagrams of one socket in one wake-up, before other sockets get their turn.
constexpr int c_datagrams_per_wake_up = 64;

/// Sets an option of the port's socket, if it exists; the lock keeps the socket open meanwhile.
template <class Value>
void set_option(Port _port, int _option, const Value& _value) {
    const Lock_guard lock(g_udp_map_lock);
    const auto found = g_udp_map.find(_port);
    if (found == g_udp_map.end()) return;
    ::setsockopt(found->second->socket, IPPROTO_IP, _option, &_value, sizeof _value);
}

ip_mreq_source membership(IP _multicast_ip, IP _multicast_if, IP _source_ip) {
    ip_mreq_source request{};
    request.imr_multiaddr.s_addr = _multicast_ip;
    request.imr_interface.s_addr = _multicast_if;
    request.imr_sourceaddr.s_addr = _source_ip;
    return request;
}

/// Buffer for the control message that selects the interface of a datagram.
union Interface_control {
    cmsghdr head;
    char bytes[CMSG_SPACE(sizeof(in_pktinfo))];
};

/// Selects the interface for this datagram only, so the socket has no state that could be out of date.
/// @param _multicast_if address of the interface.
void set_multicast_if(IP _multicast_if, Interface_control* _control_, msghdr* _message_) {
    in_pktinfo info{};
    info.ipi_spec_dst.s_addr = _multicast_if;
    _message_->msg_control = _control_;
    _message_->msg_controllen = sizeof *_control_;
    cmsghdr* const head = CMSG_FIRSTHDR(_message_);
    head->cmsg_level = IPPROTO_IP;
    head->cmsg_type = IP_PKTINFO;
    head->cmsg_len = CMSG_LEN(sizeof info);
    std::memcpy(CMSG_DATA(head), &info, sizeof info);
}

enum class Datagram { taken, dropped, none };

/// Receives one datagram. Drops a malformed one.
Datagram recv_datagram(struct_epoll_overlapped_ex* _record) {
    Token& token = _record->recv_token;
    if (!token.has_header()) token.alloc_header_force();
    Packet* const pkt = token.get_header_packet();
    pkt->initialize_packet(0, ks_clock_t{}, c_no_limit);
    pkt->set_src_ip(0);
    pkt->set_src_port(0);
    pkt->set_dst_ip(c_loopback_ip);
    pkt->set_dst_port(_record->local_addr.port);
    const Socket fd = _record->socket;

    const auto drop = [fd] {
        count(Counter::datagrams_malformed);
        uninterrupted([&] { return ::recv(fd, nullptr, 0, MSG_DONTWAIT); });
        return Datagram::dropped;
    };

    // Peeks at the header; the result is the length of the whole datagram.
    const ssize_t length = uninterrupted(
        [&] { return ::recv(fd, pkt->get_header(), Packet::get_header_size(), MSG_PEEK | MSG_TRUNC | MSG_DONTWAIT); });
    if (length == -1) return Datagram::none;
    if (static_cast<std::size_t>(length) < Packet::get_header_size() || !pkt->is_right_version()) return drop();
    if (static_cast<std::size_t>(length) < pkt->get_packet_size()) return drop();
    pkt->determine_arrival_clock(relay_clock());

    std::uint8_t* buffer = pkt->get_header();
    if (pkt->get_data_size() != 0) {
        if (token.alloc_data(pkt->get_data_size()) != 0) return drop();
        *token.get_data_packet() = *pkt;
        buffer = token.get_data_packet()->get_header();
    }
    sockaddr_in peer{};
    socklen_t peer_length = sizeof peer;
    const ssize_t taken = uninterrupted([&] {
        return ::recvfrom(fd, buffer, pkt->get_packet_size(), MSG_DONTWAIT, reinterpret_cast<sockaddr*>(&peer),
                          &peer_length);
    });
    if (taken == -1 || static_cast<std::size_t>(taken) != pkt->get_packet_size()) {
        // The socket was closed in the meantime.
        token.free_data();
        return Datagram::none;
    }
    pkt->set_src_ip(peer.sin_addr.s_addr);
    // A declared gate port identifies the sender, instead of its UDP port.
    pkt->set_src_port(pkt->get_client_gate_port() != 0 ? pkt->get_client_gate_port() : ntohs(peer.sin_port));
    pkt->set_mct_if(c_loopback_ip);
    pkt->set_window(Receive_windows::c_datagrams);
    count_traffic(By_kind::received, By_kind::received_bytes, pkt->get_msg_type(), pkt->get_packet_size());
    if (send_sdk__.load()(token, pkt) != 0) token.free();
    token.reset();
    return Datagram::taken;
}

}  // namespace

int add_udp(Port _port) {
    const Lock_guard lock(g_udp_refs_mutex);
    std::size_t& users = g_udp_refs[_port];
    if (users == 0) {
        if (const int failure = udp_initialize(_port); failure != 0) return failure;
    }
    ++users;
    return 0;
}

void del_udp(Port _port) {
    const Lock_guard lock(g_udp_refs_mutex);
    // Below 0 the count wraps, and the port then counts as in use.
    if (--g_udp_refs[_port] == 0) udp_finalize(_port);
}

int udp_initialize(Port _port) {
    const Socket fd = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, IPPROTO_UDP);
    if (fd == -1) return errno;
    const int on = 1;
    ::setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    sockaddr_in local{};
    local.sin_family = AF_INET;
    local.sin_port = htons(_port);
    if (::bind(fd, reinterpret_cast<const sockaddr*>(&local), sizeof local) != 0) {
        const int failure = errno;
        ::close(fd);
        return failure;
    }
    ::setsockopt(fd, SOL_SOCKET, SO_BROADCAST, &on, sizeof on);
    const unsigned char ttl = 128;
    ::setsockopt(fd, IPPROTO_IP, IP_MULTICAST_TTL, &ttl, sizeof ttl);
    const unsigned char loop = 1;
    ::setsockopt(fd, IPPROTO_IP, IP_MULTICAST_LOOP, &loop, sizeof loop);
    // Otherwise a publisher would receive its own values if another process of this host has joined the group.
    // `admit_multicast` switches it on again.
    const int off = 0;
    ::setsockopt(fd, IPPROTO_IP, IP_MULTICAST_ALL, &off, sizeof off);
    auto* const record = new struct_epoll_overlapped_ex(fd, c_socket_udp, Addr(0, _port));
    const bool watched =
        watch(epoll_udp_recv, record, c_watch_input) == 0 && watch(epoll_udp_send, record, c_parked) == 0;
    {
        // After `watch`: a thread that finds the record here may arm it.
        const Lock_guard lock(g_udp_map_lock);
        g_udp_map[_port] = record;
    }
    if (watched) return 0;
    udp_finalize(_port);
    return -1;
}

void udp_finalize(Port _port) {
    std::unique_ptr<struct_epoll_overlapped_ex> record;
    {
        const Lock_guard lock(g_udp_map_lock);
        const auto found = g_udp_map.find(_port);
        if (found == g_udp_map.end()) return;
        record.reset(found->second);
        g_udp_map.erase(found);
    }
    const Socket ended = end_socket(record.get());
    retire(std::move(record), ended);
}

void udp_finalize() {
    while (!g_udp_map.empty()) udp_finalize(g_udp_map.begin()->first);
    g_udp_refs.clear();
}

int send_udp(Token _token, Packet* _pkt_) {
    _pkt_->update_packet_time_and_return_timeout();
    const Wakeup_coalescing coalescing;
    const Lock_guard lock(g_udp_map_lock);
    const auto found = g_udp_map.find(_pkt_->get_dst_port());
    if (found == g_udp_map.end()) return -1;
    struct_epoll_overlapped_ex* const record = found->second;
    const Lock_guard queue_lock(record->send_queue_lock);
    record->send_queue.push(_token);
    if (record->send_queue.size() == 1) g_udp_ready_list.put(record);
    return 0;
}

int send_udp(struct_epoll_overlapped_ex* _record) {
    for (int step = 0; step < c_datagrams_per_wake_up; ++step) {
        Token token;
        {
            const Lock_guard lock(_record->send_queue_lock);
            if (_record->send_queue.empty()) return 0;
            // Stays at the front until it is sent, so that no other thread adds the socket to the ready list.
            token = _record->send_queue.front();
        }
        Packet* const pkt = token.get_header_packet();
        pkt->update_packet_time_and_return_timeout();

        sockaddr_in peer{};
        peer.sin_family = AF_INET;
        peer.sin_addr.s_addr = pkt->get_dst_ip();
        peer.sin_port = htons(_record->local_addr.port);
        // Gathers header and payload. Other messages may share the data block, so it is only read.
        const std::size_t held = token.has_data() ? get_data_size(token.data_mm) : 0;
        if (pkt->get_data_size() > held) pkt->set_data_size(static_cast<Pksize>(held));
        iovec pieces[2] = {{pkt->get_header(), Packet::get_header_size()}, {token.get_data(), pkt->get_data_size()}};
        msghdr message{};
        message.msg_name = &peer;
        message.msg_namelen = sizeof peer;
        message.msg_iov = pieces;
        message.msg_iovlen = token.has_data() ? 2 : 1;
        Interface_control control;
        if (pkt->is_information_udp()) set_multicast_if(pkt->get_mct_if(), &control, &message);
        const ssize_t sent =
            uninterrupted([&] { return ::sendmsg(_record->socket, &message, MSG_DONTWAIT | MSG_NOSIGNAL); });
        if (sent == -1 && is_would_block(errno)) {
            arm(epoll_udp_send, _record, c_arm_send);
            return 0;
        }
        // Other failures are not reported: a datagram has no acknowledgement.
        if (sent == -1) {
            count(Counter::datagrams_unsent);
        } else {
            count_traffic(By_kind::sent, By_kind::sent_bytes, pkt->get_msg_type(), pkt->get_packet_size());
        }
        const Lock_guard lock(_record->send_queue_lock);
        _record->send_queue.pop();
        token.free();
    }
    const Lock_guard lock(_record->send_queue_lock);
    if (!_record->send_queue.empty()) g_udp_ready_list.put(_record);
    return 0;
}

int recv_udp(struct_epoll_overlapped_ex* _record) {
    for (int step = 0; step < c_datagrams_per_wake_up; ++step) {
        if (recv_datagram(_record) == Datagram::none) return 0;
    }
    arm(epoll_udp_recv, _record, c_watch_input);
    return 0;
}

void admit_multicast(Port _port) {
    const int on = 1;
    set_option(_port, IP_MULTICAST_ALL, on);
}

void add_membership(IP _multicast_ip, IP _multicast_if, IP _source_ip, Port _port) {
    set_option(_port, IP_ADD_SOURCE_MEMBERSHIP, membership(_multicast_ip, _multicast_if, _source_ip));
}

void drop_membership(IP _multicast_ip, IP _multicast_if, IP _source_ip, Port _port) {
    set_option(_port, IP_DROP_SOURCE_MEMBERSHIP, membership(_multicast_ip, _multicast_if, _source_ip));
}

}  // namespace Vorn35
