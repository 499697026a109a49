#include "Vorn/SDK/Proxy/Promise.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "Kestrane/_chrono.h"
#include "Vorn/SDK/Proxy/_Proxy.h"
#include "Vorn/Vorn_processor/object_lock.h"
#include "Vorn/counters.h"
#include "Vorn/options.h"
#include "Vorn/receive_window.h"
#include "Vorn35/vorn_error.h"

namespace Vorn35 {

namespace {

constexpr double c_longest_wait = 1e9;  // seconds

ks_clock_t now() {
    return std::chrono::steady_clock::now();
}

double seconds_since(ks_clock_t _clock) {
    return Kestrane::to_seconds(now() - _clock);
}

/// Checks the state and allocates the message of a request.
Error prepare(const _Proxy* _pp, const Request& _request, Token* _token_) {
    if (!_pp->is_created()) return VORN_ERR_IS_NOT_CREATED_;
    if (!_pp->is_live()) return VORN_ERR_OBJECT_IS_NOT_EXIST_;
    if (_request.linked != nullptr && *_request.linked) return VORN_ERR_ALREADY_CONNECTED_;
    // The payload first: if there is no memory for it, which throws, nothing else is held yet.
    if (_request.data != nullptr && _request.size != 0) {
        if (_token_->alloc_data(_request.size) != 0) return VORN_ERR_EMPTY_VORN_MEMORY_;
        std::memcpy(_token_->get_data(), _request.data, _request.size);
    }
    if (_token_->alloc_header() == 0) return VORN_ERR_NONE_;
    _token_->free_data();
    return VORN_ERR_EMPTY_VORN_MEMORY_;
}

Error stamp_and_send(_Proxy* _pp, const Request& _request, Token _token, Msg_num _num, ks_clock_t _clock) {
    Packet* const pkt = _token.get_header_packet();
    pkt->initialize_packet(c_loopback_ip, _clock, _request.limit);
    pkt->initialize_header(_request.size, _num, _request.type, _request.code, VORN_ERR_NONE_);
    if (_pp->send(_token) == 0) return VORN_ERR_NONE_;
    _token.free();
    return VORN_ERR_BUSY_LOCALHOST_;
}

/// One timed wait. Returns true if a notification ended it. A limit that no clock can represent ends it immediately.
bool wait_once(return_record_t* _record, double _seconds) {
    Unique_lock lock(_record->event_mutex);
    if (!Kestrane::deadline_fits(_seconds)) return false;
    const auto deadline = std::chrono::system_clock::now() + Kestrane::to_duration(_seconds);
    return _record->event.wait_until(lock.native(), deadline) == std::cv_status::no_timeout;
}

/// Until the answer is in or the time has passed, by the steady clock. Returns true if the answer is in.
bool wait_exactly(return_record_t* _record, double _seconds) {
    Unique_lock lock(_record->event_mutex);
    // A wait of decades has no limit.
    const auto end = now() + Kestrane::to_duration(std::min(_seconds, c_longest_wait));
    while (!_record->returned) {
        const auto left = end - now();
        if (left <= left.zero()) return false;
        _record->event.wait_for(lock.native(), left);
    }
    return true;
}

/// A waiter has left the table: its record changes no more.
void count_end(const return_record_t& _record, bool _notified) {
    if (!_notified || !_record.token.has_header()) {
        counters::count(counters::Counter::waits_timed_out);
        if (_record.returned) counters::count(counters::Counter::waits_missed);
    } else if (_record.token.get_header_packet()->get_msg_type() == EMsg::ctrl) {
        counters::count(counters::Counter::waits_disconnected);
    }
}

void leave_returns(const return_key_t& _key) {
    if (gp_processor != nullptr) gp_processor->del_return(_key);
}

}  // namespace

Error delegate_request(_Proxy* _pp, const Request& _request, Msg_num* _msg_num_) {
    const ks_clock_t clk = now();
    Token token;
    if (const Error failure = prepare(_pp, _request, &token); failure != 0) return failure;
    *_msg_num_ = _pp->get_msg_num();
    return stamp_and_send(_pp, _request, token, *_msg_num_, clk);
}

Promise_ async_request(_Proxy* _pp, const Request& _request) {
    const ks_clock_t clk = now();
    Token token;
    if (const Error failure = prepare(_pp, _request, &token); failure != 0) return new Promise(failure);
    const return_key_t key(_pp->get_stub_addr(), _request.type, _request.code, _pp->get_msg_num());
    auto record = std::make_shared<return_record_t>();
    record->limit = _request.limit;
    record->clock = clk;
    record->is_exact = g_options.exact_waits;
    // Before the send, so that no answer can arrive without its waiter.
    gp_processor->add_return(key, record.get());
    if (const Error failure = stamp_and_send(_pp, _request, token, key.msg_num, clk); failure != 0) {
        gp_processor->del_return(key);
        record->token.free();
        return new Promise(failure);
    }
    return new Promise(key, std::move(record));
}

void send_notice(_Proxy* _pp, EMsg _type, Msg_code _code, Msg_num _num, Error _error, IP _mct_if) {
    Token token;
    token.alloc_header_force();
    Packet* const pkt = token.get_header_packet();
    pkt->initialize_packet(_mct_if, now(), c_no_limit);
    pkt->initialize_header(0, _num, _type, _code, _error);
    if (_pp->send(token) != 0) token.free();
}

Error await_answer(_Proxy* _pp, Promise_ _promise_, double* _time_, read_answer_t* _read, void* _context) {
    const Shared_hold hold;
    const std::unique_ptr<Promise> promise(_promise_);
    if (promise == nullptr) return VORN_ERR_NULL_RETURN_OBJECT_;
    if (promise->key.err != 0) return promise->key.err;
    return_record_t* const record = promise->value_.get();
    if (!_pp->is_created()) {
        leave_returns(promise->key);
        record->token.free();
        return VORN_ERR_IS_NOT_CREATED_;
    }

    bool notified = false;
    {
        const double left = record->limit - seconds_since(record->clock);
        g_receive_windows.begin_wait(Addr(promise->key.ip, promise->key.port));
        const Released released;
        const double wait = left > 0 ? left : 0;
        notified = record->is_exact ? wait_exactly(record, wait) : wait_once(record, wait);
    }
    g_receive_windows.end_wait(Addr(promise->key.ip, promise->key.port));
    leave_returns(promise->key);
    Error result = VORN_ERR_LOCAL_TIMEOUT_;
    count_end(*record, notified);
    if (notified && record->token.has_header()) result = _read(_context, record->token);
    record->token.free();
    if (_time_ != nullptr) *_time_ = seconds_since(record->clock);
    return result;
}

}  // namespace Vorn35
