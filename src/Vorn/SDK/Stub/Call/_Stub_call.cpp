#include "Vorn/SDK/Stub/Call/_Stub_call.h"

#include <utility>

#include "Vorn/SDK/Stub/_Stub.h"
#include "Vorn/SDK/member_table.h"
#include "Vorn35/vorn_error.h"

namespace Vorn35 {

namespace {

/// The answer of the `on_call` that runs on this thread.
thread_local Token* t_answer = nullptr;

}  // namespace

_Stub_call::_Stub_call(_Stub* _op_, Msg_code _code, interface_kind_t _b_interface, Pksize _max_return_size,
                       Stub_call* _mp)
    : _vorn_method(_op_, _code, _b_interface), max_return_size(_max_return_size), mp(_mp) {
    _op->add_call(code, this);
}

void _Stub_call::leave_table() {
    _op->del_call(code);
}

void _Stub_call::adapter_call(Token _token) {
    Packet* const pkt_ = _token.get_header_packet();
    Token return_token;
    const bool allocated =
        allocate_until_limit(pkt_, [&] { return return_token.alloc_header(); }) &&
        (max_return_size == 0 || allocate_until_limit(pkt_, [&] { return return_token.alloc_data(max_return_size); }));
    if (!allocated) {
        return_token.free();
        return;
    }
    Packet* const return_pkt_ = return_token.get_header_packet();
    *return_pkt_ = *pkt_;
    return_pkt_->set_data_size(max_return_size);

    Error result = VORN_ERR_NONE_;
    {
        const Released released;
        Token* const outer = std::exchange(t_answer, &return_token);
        result = mp->on_call(pkt_->get_src(), _token.get_data(), pkt_->get_data_size(), return_token.get_data(),
                             &return_pkt_->header.size, pkt_->packet_live_time, pkt_->packet_limit_time);
        t_answer = outer;
    }
    if (result == 0) {
        return_pkt_->backward_return_switch();
    } else {
        return_token.free_data();
        return_pkt_->backward_error_switch(result);
    }
    if (return_pkt_->get_data_size() == 0) return_token.free_data();

    // The relay refuses with -1 only, so the cancel does not run at present.
    const Error sent = _op->send(return_token);
    if (sent == 0) return;
    if (sent == VORN_ERR_LOCAL_TIMEOUT_ && result == 0) {
        pkt_->forward_error_switch(VORN_ERR_LOCAL_TIMEOUT_);
        adapter_call_cancel(_token);
    }
    return_token.free();
}

void* _Stub_call::answer_block(Pksize _size) {
    if (t_answer == nullptr) return nullptr;
    t_answer->free_data();
    return t_answer->alloc_data(_size) == 0 ? t_answer->get_data() : nullptr;
}

void _Stub_call::adapter_call_cancel(Token _token) {
    const Packet* const pkt_ = _token.get_header_packet();
    const Released released;
    mp->on_call_cancel(pkt_->get_src(), pkt_->header.error);
}

void _Stub::adapter_call(Token _token) {
    _Stub_call* const call = find_member(calls, _token.get_header_packet()->header.code);
    call != nullptr ? call->adapter_call(_token) : adapter_err_return(_token);
}

void _Stub::adapter_call_cancel(Token _token) {
    _Stub_call* const call = find_member(calls, _token.get_header_packet()->header.code);
    if (call != nullptr) call->adapter_call_cancel(_token);
}

}  // namespace Vorn35
