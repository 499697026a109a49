#include "Vorn/receive_window.h"

#include "Vorn/INet_Relay/EPoll/epoll.h"
#include "Vorn/counters.h"
#include "Vorn/options.h"

namespace Vorn35 {

Receive_windows& g_receive_windows = *new Receive_windows;

namespace {

/// Adapters change the header, so the block tells the size.
std::size_t size_of(Token _token) {
    return sizeof(Header) + (_token.has_data() ? get_data_size(_token.data_mm) : 0);
}

bool has_bounds() {
    return g_options.receive_messages != 0;
}

}  // namespace

void Receive_windows::reset() {
    const Lock_guard lock(mutex);
    windows.clear();
}

std::uint32_t Receive_windows::open(struct_epoll_overlapped_tcp* _record, Addr _peer) {
    if (!has_bounds()) return 0;
    const Lock_guard lock(mutex);
    // 0 and the datagrams' number stay free when the numbers wrap.
    do ++last;
    while (last <= c_datagrams || windows.contains(last));
    Window& window = windows[last];
    window.record = _record;
    window.peer = _peer;
    return last;
}

void Receive_windows::close(std::uint32_t _window) {
    if (_window == 0) return;
    const Lock_guard lock(mutex);
    windows.erase(_window);
}

bool Receive_windows::take(Token _token) {
    const std::uint32_t number = _token.get_header_packet()->window();
    if (number == 0 || !has_bounds()) return true;
    const Lock_guard lock(mutex);
    const auto found = number == c_datagrams ? windows.try_emplace(number).first : windows.find(number);
    if (found == windows.end()) return true;
    Window& window = found->second;
    if (number == c_datagrams && is_over(window)) return false;
    ++window.messages;
    window.bytes += size_of(_token);
    return true;
}

void Receive_windows::give_back(Token _token) {
    const std::uint32_t number = _token.get_header_packet()->window();
    if (number == 0 || !has_bounds()) return;
    const Lock_guard lock(mutex);
    const auto found = windows.find(number);
    if (found == windows.end()) return;
    Window& window = found->second;
    --window.messages;
    window.bytes -= size_of(_token);
    if (window.paused && window.messages <= g_options.receive_messages / 2 &&
        window.bytes <= g_options.receive_bytes / 2) {
        resume(&window);
    }
}

bool Receive_windows::pause(std::uint32_t _window) {
    if (_window == 0) return false;
    const Lock_guard lock(mutex);
    const auto found = windows.find(_window);
    if (found == windows.end()) return false;
    Window& window = found->second;
    if (!is_over(window) || waits.contains(window.peer)) return false;
    window.paused = true;
    counters::count(counters::Counter::connections_paused);
    return true;
}

bool Receive_windows::is_paused(std::uint32_t _window) {
    if (_window == 0) return false;
    const Lock_guard lock(mutex);
    const auto found = windows.find(_window);
    return found != windows.end() && found->second.paused;
}

void Receive_windows::describe(std::uint32_t _window, Connection_statistic* _connection_) {
    if (_window == 0) return;
    const Lock_guard lock(mutex);
    const auto found = windows.find(_window);
    if (found == windows.end()) return;
    _connection_->waiting_messages = found->second.messages;
    _connection_->waiting_bytes = found->second.bytes;
    _connection_->is_paused = found->second.paused;
}

void Receive_windows::begin_wait(Addr _peer) {
    if (!has_bounds()) return;
    const Lock_guard lock(mutex);
    ++waits[_peer];
    for (auto& [number, window] : windows) {
        if (window.paused && window.peer == _peer) resume(&window);
    }
}

void Receive_windows::end_wait(Addr _peer) {
    const Lock_guard lock(mutex);
    const auto found = waits.find(_peer);
    if (found != waits.end() && --found->second == 0) waits.erase(found);
}

bool Receive_windows::is_over(const Window& _window) {
    return _window.messages > g_options.receive_messages || _window.bytes > g_options.receive_bytes;
}

void Receive_windows::resume(Window* _window) {
    _window->paused = false;
    // The peer could not be heard meanwhile.
    _window->record->recv_clk = relay_clock();
    arm(epoll_tcp_recv, _window->record, c_arm_recv);
}

}  // namespace Vorn35
