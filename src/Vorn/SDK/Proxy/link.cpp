#include "Vorn/SDK/Proxy/link.h"

#include <utility>

#include "Vorn/INet_Relay/inet_relay.h"
#include "Vorn/SDK/Proxy/Promise.h"
#include "Vorn/SDK/Proxy/_Proxy.h"
#include "Vorn/Vorn_processor/object_lock.h"
#include "Vorn/options.h"
#include "Vorn35/vorn_error.h"

namespace Vorn35 {

Error _Linking_method::delegate_link(EMsg _type, Msg_num* _msg_num_, double _limit_time) {
    asked(_type, _limit_time);
    const Error result = delegate_request(_pp, {_type, code, nullptr, 0, _limit_time, &connect_state}, _msg_num_);
    if (result != 0) asking = false;
    return result;
}

Promise_ _Linking_method::async_link(EMsg _type, double _limit_time) {
    asked(_type, _limit_time);
    const Promise_ promise = async_request(_pp, {_type, code, nullptr, 0, _limit_time, &connect_state});
    if (promise->key.err != 0) asking = false;
    return promise;
}

void _Linking_method::asked(EMsg _type, double _limit_time) {
    // The `delegate_` form of a type differs from its plain form by this bit.
    constexpr unsigned delegate_form = 8;
    asking = true;
    const Lock_guard lock(restoration_mutex);
    restoration.is_wanted = false;
    restoration.type = static_cast<EMsg>(static_cast<unsigned>(_type) | delegate_form);
    restoration.limit = _limit_time;
    // An answer to a restoration over an earlier connection will not come.
    if (restoration.asked_over != _pp->connected_at()) restoration.number = c_none;
}

void _Linking_method::restore() {
    const ks_clock_t connection = _pp->connected_at();
    const Lock_guard lock(restoration_mutex);
    if (!restoration.is_wanted || connect_state || restoration.asked_over == connection) return;
    restoration.asked_over = connection;
    asking = true;
    Msg_num num = 0;
    const Request request{restoration.type, code, nullptr, 0, restoration.limit, &connect_state};
    // If it cannot be sent, or the connection is lost before the answer, the next connection restores the link.
    restoration.number = delegate_request(_pp, request, &num) == 0 ? int{num} : c_none;
}

bool _Linking_method::is_overtaken(const Packet* _answer) {
    const Lock_guard lock(restoration_mutex);
    if (restoration.number != _answer->header.num) return false;
    restoration.number = c_none;
    const bool was_wanted = restoration.is_wanted;
    if (_answer->header.error != 0) restoration.is_wanted = false;
    return !was_wanted;
}

void _Linking_method::want(const Packet* _answer) {
    const Lock_guard lock(restoration_mutex);
    restoration.is_wanted = g_options.restore_links;
    restoration.linked_over = _answer->get_dst_port();
}

bool _Linking_method::is_late_loss(const Packet* _notice) {
    if (_notice->get_msg_type() != EMsg::ctrl) return false;
    const Lock_guard lock(restoration_mutex);
    return restoration.is_wanted && restoration.linked_over != _notice->get_dst_port();
}

Error _Linking_method::await_link_return(Promise_ _promise_, double* _time_) {
    return await_answer(_pp, _promise_, _time_, [this](Token _answer) {
        const Packet* const pkt = _answer.get_header_packet();
        take_answer(pkt, true);
        if (is_confirm(pkt->get_msg_type())) stand(pkt);
        asking = false;
        link_has_begun();
        return pkt->header.error;
    });
}

void _Linking_method::adapter_delegate_on_link(Token _token) {
    Packet* const pkt = _token.get_header_packet();
    if (is_overtaken(pkt)) return;
    take_answer(pkt, false);
    if (pkt->header.error == 0) {
        stand(pkt);
    } else {
        asking = false;  // the callback may ask again
    }
    {
        const Released released;
        pkt->update_packet_time_and_return_timeout();
        tell_link(pkt->header.num, pkt->header.error, pkt->packet_live_time);
    }
    if (connect_state) asking = false;
    link_has_begun();
}

/// The link must not outlive its connection. A notice of the loss that is processed later ends the link. One that was
/// processed before found no link, so the answer must not begin one; the second check covers a notice in between.
void _Linking_method::stand(const Packet* _answer) {
    // First: an `unlink` that finds the link up must be able to take the wish back.
    want(_answer);
    if (!is_of_the_past(_answer)) {
        begin_link();
        if (!is_of_the_past(_answer)) return;
        connect_state = false;
    }
    // The next connection may have come up while there was nothing to restore yet.
    if (_pp->is_live()) restore();
}

bool _Linking_method::is_of_the_past(const Packet* _answer) const {
    if (!_pp->is_live()) return true;
    const Port gate = get_gate_port_of_local(_pp->get_stub_addr());
    return gate != 0 && gate != _answer->get_dst_port();
}

void _Linking_method::adapter_disconnect(Token _token) {
    const Packet* const pkt = _token.get_header_packet();
    const bool is_loss = pkt->get_msg_type() == EMsg::ctrl;
    if (is_late_loss(pkt) || !end_link()) return;
    if (!is_loss) {
        const Lock_guard lock(restoration_mutex);
        restoration.is_wanted = false;
    }
    {
        const Error error = pkt->header.error;
        g_last_error = error;
        const Released released;
        tell_unlink(error);
    }
    // The next connection may have come up while this link still seemed to stand.
    if (is_loss && _pp->is_live()) restore();
}

void _Linking_method::disconnect(bool _send) {
    bool is_restoring = false;
    {
        const Lock_guard lock(restoration_mutex);
        is_restoring = restoration.number != c_none && std::exchange(restoration.is_wanted, false);
        restoration.is_wanted = false;
    }
    if (_send && !_pp->is_created()) return;
    if ((!end_link() && !is_restoring) || !_send) return;
    send_notice(_pp, shutdown_type(), code, _pp->get_msg_num(), VORN_ERR_NONE_, shutdown_if());
}

}  // namespace Vorn35
