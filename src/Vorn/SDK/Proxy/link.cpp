#include "Vorn/SDK/Proxy/link.h"

#include "Vorn/INet_Relay/inet_relay.h"
#include "Vorn/SDK/Proxy/Promise.h"
#include "Vorn/SDK/Proxy/_Proxy.h"
#include "Vorn/Vorn_processor/object_lock.h"
#include "Vorn/options.h"
#include "Vorn35/vorn_error.h"

namespace Vorn35 {

Error _Linking_method::delegate_link(EMsg _type, Msg_num* _msg_num_, double _limit_time) {
    asked(_type, _limit_time);
    return delegate_request(_pp, {_type, code, nullptr, 0, _limit_time, &connect_state}, _msg_num_);
}

Promise_ _Linking_method::async_link(EMsg _type, double _limit_time) {
    asked(_type, _limit_time);
    return async_request(_pp, {_type, code, nullptr, 0, _limit_time, &connect_state});
}

void _Linking_method::asked(EMsg _type, double _limit_time) {
    constexpr unsigned delegate_form = 8;
    asked_type = static_cast<EMsg>(static_cast<unsigned>(_type) | delegate_form);
    asked_limit = _limit_time;
    is_to_restore = false;
}

void _Linking_method::restore() {
    if (!is_to_restore.exchange(false)) return;
    Msg_num num = 0;
    static_cast<void>(delegate_request(_pp, {asked_type, code, nullptr, 0, asked_limit, &connect_state}, &num));
}

Error _Linking_method::await_link_return(Promise_ _promise_, double* _time_) {
    return await_answer(_pp, _promise_, _time_, [this](Token _answer) {
        const Packet* const pkt = _answer.get_header_packet();
        take_answer(pkt, true);
        if (is_confirm(pkt->get_msg_type())) stand(pkt);
        return pkt->header.error;
    });
}

void _Linking_method::adapter_delegate_on_link(Token _token) {
    Packet* const pkt = _token.get_header_packet();
    take_answer(pkt, false);
    if (pkt->header.error == 0) stand(pkt);
    const Released released;
    pkt->update_packet_time_and_return_timeout();
    tell_link(pkt->header.num, pkt->header.error, pkt->packet_live_time);
}

/// The link must not outlive its connection. A loss that is still to be told will find it; one that was told ahead of
/// this answer, and perhaps the next connection with it, has found no link to end.
void _Linking_method::stand(const Packet* _answer) {
    if (is_of_the_past(_answer)) return;
    connect_state = true;
    if (is_of_the_past(_answer)) connect_state = false;
}

bool _Linking_method::is_of_the_past(const Packet* _answer) const {
    if (!_pp->is_live()) return true;
    const Port gate = get_gate_port_of_local(_pp->get_stub_addr());
    return gate != 0 && gate != _answer->get_dst_port();
}

void _Linking_method::adapter_disconnect(Token _token) {
    if (!end_link()) return;
    const Packet* const pkt = _token.get_header_packet();
    is_to_restore = g_options.restore_links && pkt->get_msg_type() == EMsg::ctrl;
    const Error error = pkt->header.error;
    g_last_error = error;
    const Released released;
    tell_unlink(error);
}

void _Linking_method::disconnect(bool _send) {
    is_to_restore = false;
    if (_send && !_pp->is_created()) return;
    if (!end_link() || !_send) return;
    send_notice(_pp, shutdown_type(), code, _pp->get_msg_num(), VORN_ERR_NONE_, shutdown_if());
}

}  // namespace Vorn35
