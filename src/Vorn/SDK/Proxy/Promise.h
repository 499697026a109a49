/// @file
/// `Promise`, and the exchange of a request and its answer, written once for every kind of client.
#pragma once

#include <atomic>
#include <memory>

#include "Vorn/Vorn_processor/returns.h"
#include "Vorn35/Promise.h"

namespace Vorn35 {

class _Proxy;

class Promise {
public:
    Promise() = default;
    /// Of a request that was never sent.
    explicit Promise(Error _err) : key(_err) {}
    Promise(return_key_t _key, std::shared_ptr<return_record_t> _value) : key(_key), value_(std::move(_value)) {}

    /// Key of the waiter in the return table. If `err` is not 0, the request was not sent for this reason.
    return_key_t key;
    /// The waiter's record; null when the request was never sent.
    std::shared_ptr<return_record_t> value_;
};

/// One request to the service of a `_Proxy`.
struct Request {
    EMsg type;
    Msg_code code;
    const void* data = nullptr;
    Pksize size = 0;
    double limit = 0;
    /// State of the link that the request asks for; one that stands already is refused. Null: no link is
    /// asked for.
    const std::atomic<bool>* linked = nullptr;
};

/// Sends a request whose answer comes by callback. `mutex_01` shared.
/// @param _msg_num_ receives the number of the exchange before the message is sent.
Error delegate_request(_Proxy* _pp, const Request& _request, Msg_num* _msg_num_);

/// Sends a request whose answer is waited for. `mutex_01` shared. Never null.
Promise_ async_request(_Proxy* _pp, const Request& _request);

/// Sends a message without payload or limit; ignores failures. `mutex_01` shared.
void send_notice(_Proxy* _pp, EMsg _type, Msg_code _code, Msg_num _num, Error _error, IP _mct_if);

/// How a kind evaluates an answer. Runs under `mutex_01` shared; borrows the token, which has a header.
/// @return what the `await_` operation returns.
using read_answer_t = Error(void* _context, Token _answer);

/// Waits for the answer and deletes the promise. By default this is one timed wait by the system clock, which does not check
/// `returned`, so it misses an answer that came earlier. With `Runtime_options::exact_waits` it misses none.
/// @param _time_ if not null: receives the seconds since the request, once it was waited for.
Error await_answer(_Proxy* _pp, Promise_ _promise_, double* _time_, read_answer_t* _read, void* _context);

template <class Read>
Error await_answer(_Proxy* _pp, Promise_ _promise_, double* _time_, Read _read) {
    return await_answer(
        _pp, _promise_, _time_, [](void* _context, Token _answer) { return (*static_cast<Read*>(_context))(_answer); },
        &_read);
}

}  // namespace Vorn35
