#include "Vorn35/Proxy_call.h"

#include <cstring>

#include "Vorn/SDK/History/Letter_case.h"
#include "Vorn/SDK/Proxy/Call/_Proxy_call.h"
#include "Vorn/SDK/Proxy/Promise.h"
#include "Vorn/SDK/Proxy/_Proxy.h"
#include "Vorn/Vorn_processor/object_lock.h"
#include "Vorn/counters.h"

namespace Vorn35 {

namespace {

/// Copies the payload of an answer to the caller's buffer. Reports only the size if the buffer is too small, and nothing if
/// there is none.
Error copy_answer(Token _answer, void* _return_data_, Pksize* _size_) {
    const Packet* const pkt = _answer.get_header_packet();
    const Error result = pkt->header.error;
    const Pksize size = pkt->get_data_size();
    if (pkt->get_msg_type() == EMsg::call_error_return) return result;
    if (size == 0) {
        if (_size_ != nullptr) *_size_ = 0;
        return result;
    }
    const bool fits = _size_ != nullptr && _return_data_ != nullptr && size <= *_size_;
    if (_size_ != nullptr && _return_data_ != nullptr) *_size_ = size;
    if (!fits) {
        counters::count(counters::Counter::answers_too_large);
        return VORN_ERR_BOUNDOUT_BUFFER_;
    }
    std::memcpy(_return_data_, _answer.get_data(), size);
    return result;
}

}  // namespace

Proxy_call::Proxy_call(Msg_code _code) : _mp(new _Proxy_call(_pp, _code, c_integrated_interface, this)) {}

Proxy_call::Proxy_call(Msg_code _code, const Proxy& _proxy_object)
    : Proxy(_proxy_object), _mp((attach(_proxy_object), new _Proxy_call(_pp, _code, c_each_interface, this))) {}

Proxy_call::~Proxy_call() {
    if (_mp->b_interface == c_each_interface) detach();
    end_member(_mp, _mp->_pp->dispatches);
}

void Proxy_call::on_return(Msg_num, Error, const void*, Pksize, double) {}

Error Proxy_call::delegate_call(Msg_num* _msg_num_, const void* _call_data_, Pksize _call_size, double _limit_time) {
    const Shared_hold hold;
    return delegate_request(_pp, {EMsg::delegate_call, _mp->code, _call_data_, _call_size, _limit_time}, _msg_num_);
}

Promise_ Proxy_call::async_call(const void* _call_data_, Pksize _call_size, double _limit_time) {
    const Shared_hold hold;
    return async_request(_pp, {EMsg::call, _mp->code, _call_data_, _call_size, _limit_time});
}

Error Proxy_call::await_return(Promise_ _promise_, void* _return_data_, Pksize* _size_, double* _time_) {
    return await_answer(_pp, _promise_, _time_,
                        [&](Token _answer) { return copy_answer(_answer, _return_data_, _size_); });
}

Call_result Proxy_call::await_result(Promise_ _promise_) {
    Call_result result;
    // Keeps the answer until its bytes are copied: the vector allocates, which may throw, without the lock.
    Letter_case kept;
    kept.token_vect.reserve(1);
    result.error = await_answer(_pp, _promise_, &result.seconds, [&kept](Token _answer) {
        kept.append(_answer);
        return _answer.get_header_packet()->header.error;
    });
    if (kept.token_vect.empty()) return result;
    const Token answer = kept.token_vect.front();
    const Packet* const pkt = answer.get_header_packet();
    const Pksize size = pkt->get_data_size();
    if (pkt->get_msg_type() == EMsg::call_error_return || size == 0) return result;
    const auto* const bytes = static_cast<const std::byte*>(answer.get_data());
    result.bytes.assign(bytes, bytes + size);
    return result;
}

void Proxy_call::cancel(Error _error) {
    const Shared_hold hold;
    if (_pp->is_created()) send_notice(_pp, EMsg::call_cancel, _mp->code, 0, _error, c_loopback_ip);
}

}  // namespace Vorn35
