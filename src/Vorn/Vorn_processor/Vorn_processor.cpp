/// Life of the processor, its pipe and its listeners.

#include "Vorn/Vorn_processor/Vorn_processor.h"

#include <algorithm>
#include <chrono>
#include <limits>

#include "Kestrane/_chrono.h"
#include "Vorn/SDK/Proxy/_Proxy.h"
#include "Vorn/SDK/Stub/_Stub.h"
#include "Vorn/Vorn_processor/object_lock.h"
#include "Vorn/counters.h"
#include "Vorn/options.h"
#include "Vorn/receive_window.h"
#include "Vorn/wakeup_coalescing.h"
#include "Vorn35/vorn_error.h"

namespace Vorn35 {

Shared_mutex<lock_order::processor> Vorn_processor::mutex_01;
Vorn_processor* gp_processor = nullptr;
thread_local int Shared_hold::depth = 0;
thread_local Error g_last_error = VORN_ERR_NONE_;

namespace {

constexpr double c_timer_interval = 1.0;
/// Messages of one read are pushed before a listener is woken: woken for the first, it would sleep again before the second
/// arrives. The number fits into the pipe.
constexpr unsigned c_wake_every = 16;
constexpr Error c_listener_ends = Kestrane::Nonshared_pipe<Token>::shutdown;

/// Connections that came up or ended, and links that ended.
bool is_notice(EMsg _type) {
    switch (_type) {
        case EMsg::ctrl:
        case EMsg::event_shutdown:
        case EMsg::event_disconnect:
        case EMsg::delegate_event_shutdown:
        case EMsg::command_shutdown:
        case EMsg::command_disconnect:
        case EMsg::delegate_command_shutdown:
        case EMsg::information_tcp_shutdown:
        case EMsg::information_tcp_disconnect:
        case EMsg::delegate_information_tcp_shutdown:
        case EMsg::information_udp_shutdown:
        case EMsg::information_udp_disconnect:
        case EMsg::delegate_information_udp_shutdown:
            return true;
        default:
            return false;
    }
}

/// The bound of the pipe for a type. Droppable values and directories have a low bound, so that they cannot crowd out
/// messages that must not be lost.
std::size_t pipe_bound(EMsg _type) {
    constexpr std::size_t none = std::numeric_limits<std::size_t>::max();
    // Each connection has bounds of its own.
    if (g_options.receive_messages != 0) return none;
    if (g_options.keep_notices && is_notice(_type)) return none;
    switch (_type) {
        case EMsg::command_udp:
        case EMsg::information_udp:
        case EMsg::ctrl_broadcast:
            return 1;
        default:
            return 16;
    }
}

/// Answers to plain requests bypass the pipe, so a full pipe neither delays nor loses them.
bool answers_a_waiter(EMsg _type) {
    switch (_type) {
        case EMsg::signal_return:
        case EMsg::signal_error_return:
        case EMsg::call_return:
        case EMsg::call_error_return:
        case EMsg::event_confirm:
        case EMsg::event_reject:
        case EMsg::command_confirm:
        case EMsg::command_reject:
        case EMsg::information_tcp_confirm:
        case EMsg::information_tcp_reject:
        case EMsg::information_udp_confirm:
        case EMsg::information_udp_reject:
            return true;
        default:
            return false;
    }
}

}  // namespace

Vorn_processor::Vorn_processor(Idle, std::size_t _thread_count, std::size_t _size)
    : Nonshared_pipe<Token>(_size), thread_count(_thread_count) {}

Vorn_processor::Vorn_processor(std::size_t _thread_count, std::size_t _size)
    : Vorn_processor(Idle{}, _thread_count, _size) {
    {
        // Published with its listeners: they are looked up under the same lock.
        const Exclusive_hold hold;
        gp_processor = this;
        for (std::size_t i = 0; i < thread_count; ++i) {
            thread__.emplace_back([this] { thread_listener(); });
            listener_ids.push_back(thread__.back().get_id());
        }
    }
    const Lock_guard lock_timer(timer_mutex);
    timer_ = std::make_unique<std::thread>([this] { timer(c_timer_interval); });
}

Vorn_processor::~Vorn_processor() {
    stop_timer();
    proc_shutdown();
    for (std::thread& one : thread__) one.join();
    const Exclusive_hold hold;
    for (const auto& [port, stub] : local_stubes) {
        _Stub::of(stub)->forget_order();
        _Stub::of(stub)->drop_state();
    }
    for (const auto& [addr, proxy] : remote_stubes) _Proxy::of(proxy)->drop_state();
    gp_processor = nullptr;
}

Error Vorn_processor::apply_process(Token _token) {
    // Ahead of the push: a listener may finish the message at once.
    const bool taken = g_receive_windows.take(_token);
    const auto result = taken ? eproc_push(_token, pipe_bound(_token.get_header_packet()->get_msg_type())) : busy;
    if (taken && result != success) g_receive_windows.give_back(_token);
    if (result != shutdown) Wakeup_coalescing::request([] { gp_processor->proc_wake(); }, c_wake_every);
    switch (result) {
        case success:
            return VORN_ERR_NONE_;
        case busy:
            counters::count(counters::By_kind::refused, _token.get_header_packet()->get_msg_type());
            return VORN_ERR_BUSY_;
        default:
            return VORN_ERR_SHUTDOWN_;
    }
}

Error Vorn_processor::listener() {
    return listener_turn([this] { return eproc_wait(); });
}

Error Vorn_processor::listener(double _timeout) {
    return listener_turn([this, _timeout] { return eproc_wait_timeout(_timeout); });
}

template <class Wait>
Error Vorn_processor::listener_turn(Wait _wait) {
    for (;;) {
        // Without `serial_lock`, so that another listener can wait meanwhile and need not be woken for the lock.
        if (const auto result = _wait(); result != success) return result;
        Unique_lock serial(serial_lock);
        Token token;
        if (eproc_pop(&token) != success) continue;
        if (token.has_header()) {
            serial.release();
            return listener_processor(token);
        }
        // An instruction and no message: the whole pool of listeners sleeps for so many seconds.
        if (token.data_mm > 0) std::this_thread::sleep_for(Kestrane::to_duration(static_cast<double>(token.data_mm)));
        proc_wake();
        return 0;
    }
}

void Vorn_processor::thread_listener() {
    while (listener() != c_listener_ends) {
    }
}

bool Vorn_processor::is_listen_thread() const {
    return std::find(listener_ids.begin(), listener_ids.end(), std::this_thread::get_id()) != listener_ids.end();
}

Error send_sdk(Token _token, Packet* _pkt_) {
    const EMsg type = _pkt_->get_msg_type();
    if (type == EMsg::ctrl && _pkt_->header.code == c_tcp_disconnected_from_server) {
        // Two receivers: the `Proxy` of the connection, and all threads that wait for that server. Adds the second
        // reference first, since a listener may free the first one at once. If the pipe refuses the token, its reference
        // is deliberately lost; the waiters are woken in any case.
        safe_add_ref_token(_token);
        static_cast<void>(gp_processor->apply_process(_token));
        // The waiters are woken at once, on the receive worker; the `Proxy` learns of the loss later, on a listener.
        return awake_process(_token);
    }
    if (answers_a_waiter(type)) return awake_process(_token);
    return gp_processor->apply_process(_token);
}

Error awake_process(Token _token) {
    return gp_processor->return_processor(_token);
}

}  // namespace Vorn35
