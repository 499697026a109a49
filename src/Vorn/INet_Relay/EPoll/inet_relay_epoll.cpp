/// Configuration, start and stop of the relay.

#include <sys/epoll.h>
#include <unistd.h>

#include <string>
#include <thread>

#include "Kestrane/_chrono.h"
#include "Kestrane/_ini.h"
#include "Vorn/INet_Relay/EPoll/epoll_tcp_method.h"
#include "Vorn/INet_Relay/EPoll/epoll_thread.h"
#include "Vorn/INet_Relay/EPoll/reap.h"
#include "Vorn/receive_window.h"
#include "Vorn35/Statistics.h"

namespace Vorn35 {

bool g_auto_disconnect = false;
bool g_server_socket_reuse = true;
int g_listen_backlog = 5;
bool g_server_linger_use = false;
int g_server_linger_time = 0;
bool g_server_nagle_off_use = false;
bool g_client_linger_use = false;
int g_client_linger_time = 0;
bool g_client_nagle_off_use = false;

int epoll_tcp_init = -1;
int epoll_tcp_recv = -1;
int epoll_tcp_send = -1;
int epoll_udp_recv = -1;
int epoll_udp_send = -1;

std::atomic<send_sdk_t*> send_sdk__{nullptr};
Token heartbeat_token;
Packet* heartbeat_pkt = nullptr;

namespace {

std::thread* epoll_thread_tcp_init = nullptr;
std::thread* epoll_thread_tcp_recv = nullptr;
std::thread* epoll_thread_tcp_send = nullptr;
std::thread* epoll_thread_udp_recv = nullptr;
std::thread* epoll_thread_udp_send = nullptr;

/// Every value except "no" means yes.
bool configured_yes(const char* _key) {
    return Kestrane::get_lwr_string_from_ini_file(c_ini_file, c_ini_section, _key, "yes") != std::string("no");
}

int configured_integer(const char* _key, int _default) {
    return Kestrane::get_integer_from_ini_file(c_ini_file, c_ini_section, _key, _default);
}

void make_heartbeat() {
    heartbeat_token.alloc_header_force();
    heartbeat_pkt = heartbeat_token.get_header_packet();
    heartbeat_pkt->initialize_packet(c_loopback_ip, ks_clock_t{}, c_no_limit);
    heartbeat_pkt->set_to_proxy(Addr(), Addr());
    heartbeat_pkt->initialize_header(0, 0, EMsg::null, 0, 0);
    heartbeat_pkt->set_heartbeat_type();
}

void read_configuration() {
    g_auto_disconnect = configured_yes("AUTO_DISCONNECT");
    // The reuse and linger keys belong to the file format, but set no socket option.
    g_server_socket_reuse = configured_yes("SERVER_SOCKET_REUSE");
    g_listen_backlog = configured_integer("SERVER_LISTEN_BACKLOG", 5);
    g_server_linger_use = configured_yes("SERVER_LINGER_USE");
    g_server_linger_time = configured_integer("SERVER_LINGER_TIME", 1024);
    g_server_nagle_off_use = configured_yes("SERVER_NAGLE_OFF_USE");
    g_client_linger_use = configured_yes("CLIENT_LINGER_USE");
    g_client_linger_time = configured_integer("CLIENT_LINGER_TIME", 1024);
    g_client_nagle_off_use = configured_yes("CLIENT_NAGLE_OFF_USE");
}

/// Ends the worker of an epoll instance by an event with null data, and joins it. A worker without an instance has already
/// ended.
void stop_worker(int _epoll, std::thread** _thread_) {
    if (*_thread_ == nullptr) return;
    epoll_event event{};
    event.events = EPOLLOUT;
    event.data.ptr = nullptr;
    if (_epoll != -1) ::epoll_ctl(_epoll, EPOLL_CTL_ADD, dead_socket(), &event);
    (*_thread_)->join();
    delete *_thread_;
    *_thread_ = nullptr;
}

void close_epoll(int* _epoll_) {
    ::close(*_epoll_);
    *_epoll_ = -1;
}

}  // namespace

int initialize_inet(send_sdk_t* _send_sdk__) {
    send_sdk__ = _send_sdk__;
    make_heartbeat();
    try {
        read_configuration();
    } catch (...) {
        safe_free_token(&heartbeat_token);
        throw;
    }

    epoll_tcp_init = ::epoll_create1(0);
    epoll_tcp_recv = ::epoll_create1(0);
    epoll_tcp_send = ::epoll_create1(0);
    epoll_udp_recv = ::epoll_create1(0);
    epoll_udp_send = ::epoll_create1(0);
    reap_open();
    return 0;
}

int start_inet() {
    epoll_thread_udp_recv = new std::thread(epoll_thread_udp_recv_entry);
    epoll_thread_udp_send = new std::thread(epoll_thread_udp_send_entry);
    epoll_thread_tcp_init = new std::thread(epoll_thread_tcp_init_entry);
    epoll_thread_tcp_recv = new std::thread(epoll_thread_tcp_recv_entry);
    epoll_thread_tcp_send = new std::thread(epoll_thread_tcp_send_entry);
    return 0;
}

void stop_inet() {
    stop_worker(epoll_tcp_init, &epoll_thread_tcp_init);
    stop_worker(epoll_udp_recv, &epoll_thread_udp_recv);
    stop_worker(epoll_udp_send, &epoll_thread_udp_send);
    stop_worker(epoll_tcp_recv, &epoll_thread_tcp_recv);
    stop_worker(epoll_tcp_send, &epoll_thread_tcp_send);
}

void finalize_inet() {
    close_epoll(&epoll_tcp_send);
    close_epoll(&epoll_tcp_recv);
    close_epoll(&epoll_tcp_init);
    close_epoll(&epoll_udp_send);
    close_epoll(&epoll_udp_recv);
    udp_finalize();
    while (!g_server_map.empty()) close_listener(g_server_map.begin()->first);
    clear_tcp_records();
    reap_close();
    safe_free_token(&heartbeat_token);
    heartbeat_pkt = nullptr;
}

Relay_gauges relay_gauges() {
    Relay_gauges gauges;
    {
        const Lock_guard lock(g_client_lock);
        gauges.clients = g_establish_client_map.size();
        gauges.connecting = g_connect_map.size() + g_connect_fail_map.size();
    }
    {
        const Lock_guard lock(g_establish_server_map_lock);
        gauges.services = g_establish_server_map.size();
    }
    const Lock_guard lock(g_udp_map_lock);
    gauges.directory = g_udp_map.contains(c_directory_port);
    return gauges;
}

namespace {

Connection_statistic describe(struct_epoll_overlapped_tcp* _record, bool _is_client) {
    Connection_statistic connection;
    connection.peer = _record->remote_addr;
    connection.is_client = _is_client;
    connection.age = Kestrane::to_seconds(relay_clock() - _record->begun);
    connection.received_bytes = _record->received_bytes;
    connection.sent_bytes = _record->sent_bytes;
    g_receive_windows.describe(_record->receive_window, &connection);
    const Lock_guard lock(_record->send_queue_lock);
    connection.queued_messages = _record->send_queue.size();
    connection.queued_bytes = _record->queued_bytes;
    return connection;
}

}  // namespace

std::vector<Connection_statistic> connections() {
    std::vector<Connection_statistic> all;
    {
        const Lock_guard lock(g_client_lock);
        for (const auto& [addr, record] : g_establish_client_map) all.push_back(describe(record, true));
    }
    const Lock_guard lock(g_establish_server_map_lock);
    for (const auto& [addr, record] : g_establish_server_map) all.push_back(describe(record, false));
    return all;
}

void print_inet() {
    print_client();
    print_server();
}

}  // namespace Vorn35
