#include "Vorn/SDK/Stub/Signal/_Stub_signal.h"

#include "Vorn/SDK/Stub/_Stub.h"
#include "Vorn/SDK/member_table.h"
#include "Vorn35/vorn_error.h"

namespace Vorn35 {

_Stub_signal::_Stub_signal(_Stub* _op_, Msg_code _code, interface_kind_t _b_interface,
                           on_signal_sync_t* _on_signal_sync__, Stub_signal* _mp)
    : _vorn_method(_op_, _code, _b_interface), on_signal_sync__(_on_signal_sync__), mp(_mp) {
    _op->add_signal(code, this);
}

void _Stub_signal::leave_table() {
    _op->del_signal(code);
}

void _Stub_signal::adapter_signal(Token _token) {
    const Packet* const pkt_ = _token.get_header_packet();
    Error result = VORN_ERR_NONE_;
    if (on_signal_sync__ != nullptr) {
        result = on_signal_sync__(mp, pkt_->get_src(), _token.get_data(), pkt_->get_data_size(), pkt_->packet_live_time,
                                  pkt_->packet_limit_time);
    }
    // Depends only on whether the answer was sent: a refused signal deliberately reaches `on_signal`, too.
    if (signal_return(_token, result) != 0) return;
    const Released released;
    mp->on_signal(pkt_->get_src(), _token.get_data(), pkt_->get_data_size(), pkt_->packet_live_time);
}

Error _Stub_signal::signal_return(Token _token, Error _error) {
    Packet* const pkt_ = _token.get_header_packet();
    Token answer;
    if (!allocate_until_limit(pkt_, [&] { return answer.alloc_header(); })) return VORN_ERR_EMPTY_VORN_MEMORY_;
    Packet* const answer_pkt_ = answer.get_header_packet();
    *answer_pkt_ = *pkt_;
    _error == 0 ? answer_pkt_->backward_return_switch() : answer_pkt_->backward_error_switch(_error);
    const Error sent = _op->send(answer);
    if (sent != 0) answer.free();
    return sent;
}

void _Stub_signal::adapter_signal_cancel(Token _token) {
    const Packet* const pkt_ = _token.get_header_packet();
    const Released released;
    mp->on_signal_cancel(pkt_->get_src(), pkt_->header.error);
}

void _Stub::adapter_signal(Token _token) {
    _Stub_signal* const signal = find_member(signals, _token.get_header_packet()->header.code);
    signal != nullptr ? signal->adapter_signal(_token) : adapter_err_return(_token);
}

void _Stub::adapter_signal_cancel(Token _token) {
    _Stub_signal* const signal = find_member(signals, _token.get_header_packet()->header.code);
    if (signal != nullptr) signal->adapter_signal_cancel(_token);
}

}  // namespace Vorn35
