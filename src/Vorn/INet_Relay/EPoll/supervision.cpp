/// Supervision, on the timer thread once a second, with no lock held: cuts hanging connects and openings, sends heartbeats, cuts
/// silent peers (AUTO_DISCONNECT), and starts the reconnects that are due. `retry_resources` follows, under `mutex_01` exclusive.

#include <sys/socket.h>

#include <vector>

#include "Kestrane/_chrono.h"
#include "Vorn/INet_Relay/EPoll/epoll_tcp_method.h"
#include "Vorn/counters.h"
#include "Vorn/options.h"
#include "Vorn/receive_window.h"

namespace Vorn35 {

using namespace counters;

namespace {

/// Limit of a connect in seconds when `opening_limit` is 0, measured from the last activity (`send_clk`). Deliberately hours:
/// TCP itself finds ordinary breaks. An `opening_limit` is measured from `begun`.
constexpr double c_connect_limit = 8888;

std::chrono::nanoseconds silence_limit() {
    return Kestrane::to_duration(g_options.silence_limit);
}

/// A peer of a connection that is not read cannot be heard.
bool is_silent(const struct_epoll_overlapped_tcp* _record, ks_clock_t _clk) {
    return _record->recv_clk.load() + silence_limit() < _clk && !g_receive_windows.is_paused(_record->receive_window);
}

/// Sends a heartbeat to a live peer. Collects a silent one, if silent peers are cut.
void heartbeat_or_collect(struct_epoll_overlapped_tcp* _record, ks_clock_t _clk,
                          std::vector<struct_epoll_overlapped_tcp*>* _silent_) {
    if (_record->b_cut) return;
    if (!is_silent(_record, _clk)) {
        _record->send_clk = _clk;
        request_send_hearbeat(_record);
    } else if (g_auto_disconnect) {
        _silent_->push_back(_record);
    }
}

/// Gives returns that the silent peer did not acknowledge back to their `Stub` as cancels. Skips the return at the front of
/// the send queue, which comes back with the rest of the queue when the connection ends.
void return_unacknowledged(struct_epoll_overlapped_tcp* _record) {
    token_queue_t unacknowledged;
    mm_t being_sent = 0;
    {
        const Lock_guard queue_lock(_record->send_queue_lock);
        wait_for_write(_record);
        if (!_record->send_queue.empty()) being_sent = _record->send_queue.front().header_mm;
        const Lock_guard lock(_record->ack_wait_q_lock);
        unacknowledged.swap(_record->ack_wait_q);
    }
    for (; !unacknowledged.empty(); unacknowledged.pop()) {
        Token token = unacknowledged.front();
        if (token.header_mm == being_sent) {
            token.free();
        } else {
            return_undelivered(token, VORN_ERR_DISCONNECTED_TCP_, true);
        }
    }
}

void cancel_hanging(struct_epoll_overlapped_tcp* _record, ks_clock_t _clk) {
    if (_record->type != c_socket_init_client) return;
    const bool has_limit = g_options.opening_limit != 0;
    const auto limit = Kestrane::to_duration(has_limit ? g_options.opening_limit : c_connect_limit);
    if ((has_limit ? _record->begun : _record->send_clk.load()) + limit >= _clk) return;
    if (has_limit) count(Counter::openings_cut);
    ::shutdown(_record->socket, SHUT_RDWR);
    // Wakes a hanging connect. After the connect the socket is no longer in `epoll_tcp_init` and this has no effect: the
    // worker of the opening exchange finds the end of the stream.
    arm(epoll_tcp_init, _record, c_force_connect);
}

}  // namespace

void inet_interval_event() {
    const ks_clock_t now = relay_clock();
    timer_cancel_connect(now);
    timer_cancel_openings(now);
    timer_shutdown_server(now);
    timer_shutdown_client(now);
    timer_reconnect_client();
}

void timer_cancel_connect(ks_clock_t _clk) {
    const Lock_guard lock(g_client_lock);
    for (const auto& [addr, record] : g_connect_map) cancel_hanging(record, _clk);
    for (auto* const record : g_closing_clients) cancel_hanging(record, _clk);
}

void timer_shutdown_server(ks_clock_t _clk) {
    // Covers only this loop: messages queued behind a heartbeat must not wait longer for the wake-up.
    const Wakeup_coalescing coalescing;
    const Lock_guard lock(g_establish_server_map_lock);
    std::vector<struct_epoll_overlapped_tcp*> silent;
    for (const auto& [addr, record] : g_establish_server_map) heartbeat_or_collect(record, _clk, &silent);
    for (auto* const record : silent) {
        if (g_options.tell_silent_clients) {
            // The receive worker finds the end of the stream and reports the loss.
            record->b_cut = true;
            count(Counter::silent_cut);
            ::shutdown(record->socket, SHUT_RDWR);
            return_unacknowledged(record);
            continue;
        }
        // Removed from the table first, so that the worker does not report a disconnect when it finds the end of stream. The
        // `Stub` gets no notice, so it keeps the links of this client.
        g_establish_server_map.erase(record->remote_addr);
        count(Counter::silent_cut);
        count(Counter::services_lost);
        ::shutdown(record->socket, SHUT_RD);
        return_unacknowledged(record);
    }
}

void timer_shutdown_client(ks_clock_t _clk) {
    const Wakeup_coalescing coalescing;
    const Lock_guard lock(g_client_lock);
    std::vector<struct_epoll_overlapped_tcp*> silent;
    for (const auto& [addr, record] : g_establish_client_map) heartbeat_or_collect(record, _clk, &silent);
    for (auto* const record : g_closing_clients) {
        if (record->type == c_socket_client) heartbeat_or_collect(record, _clk, &silent);
    }
    for (auto* const record : silent) {
        // The receive worker finds the end of the stream, reports the loss and schedules the reconnect.
        record->b_cut = true;
        count(Counter::silent_cut);
        ::shutdown(record->socket, SHUT_RD);
    }
}

void timer_cancel_openings(ks_clock_t _clk) {
    if (g_options.opening_limit == 0) return;
    const auto limit = Kestrane::to_duration(g_options.opening_limit);
    const Lock_guard lock(ooo);
    for (auto* const record : g_tcp_records) {
        if (record->type != c_socket_init_server || record->begun + limit >= _clk) continue;
        // The worker finds the broken socket, and ends the record.
        count(Counter::openings_cut);
        ::shutdown(record->socket, SHUT_RDWR);
    }
}

void retry_resources() {
    if (!g_options.retry_resources) return;
    resume_accepts();
    if (!relay_gauges().directory) static_cast<void>(add_udp(c_directory_port));
}

void timer_reconnect_client() {
    const Lock_guard lock(g_client_lock);
    connect_map_t still_failing;
    for (const auto& [addr, record] : g_connect_fail_map) {
        if (request_connect(record) != 0) still_failing.emplace(addr, record);
    }
    g_connect_fail_map.swap(still_failing);
}

int request_send_hearbeat(struct_epoll_overlapped_tcp* _record) {
    const Lock_guard lock(_record->send_queue_lock);
    if (_record->b_remove_client) return 0;
    heartbeat_token.ref_header();
    queue_message(_record, heartbeat_token, heartbeat_pkt);
    return 0;
}

}  // namespace Vorn35
