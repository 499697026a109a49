#include "Vorn/SDK/Stub/links.h"

#include "Vorn/SDK/Stub/_Stub.h"
#include "Vorn/Vorn_processor/object_lock.h"
#include "Vorn/counters.h"
#include "Vorn35/vorn_error.h"

namespace Vorn35 {

void _Linked_method::adapter_connect(Token _token) {
    Packet* const pkt_ = _token.get_header_packet();
    Token answer;
    if (!allocate_until_limit(pkt_, [&] { return answer.alloc_header(); })) return;

    Error result = VORN_ERR_NONE_;
    {
        const Released released;
        result = ask_application(pkt_);
    }
    // The service was stopped during the callback, which ended its links: no link may be added afterwards.
    if (result == 0 && !_op->is_tabled()) result = VORN_ERR_OBJECT_IS_NOT_EXIST_;

    Admission admission;
    Packet* const answer_pkt_ = answer.get_header_packet();
    *answer_pkt_ = *pkt_;
    if (result != 0) {
        answer_pkt_->backward_error_switch(result);
        admission.sent = _op->send(answer);
    } else {
        answer_pkt_->backward_return_switch();
        answer_pkt_->set_data_size(0);
        admission = admit(pkt_, answer);
    }
    const auto [entered, sent] = admission;
    if (sent == 0) return;
    if (sent == VORN_ERR_LOCAL_TIMEOUT_) {
        pkt_->forward_error_switch(VORN_ERR_BUSY_LOCALHOST_);
        adapter_shutdown(_token);
    } else if (entered) {
        // The connection is gone, and the notice of its loss may have passed already: nothing else would end the link. A
        // link that stood before is left to that notice, which ended it or will.
        const Lock_guard lock(connections_mutex);
        erase(pkt_->get_src());
        counters::count(counters::Counter::links_taken_back);
    }
    answer.free();
}

_Linked_method::Admission _Linked_method::enter_and_answer(const Packet* _request, Token _answer) {
    Admission admission;
    {
        // Before the answer is sent, since a message to the client may follow it immediately.
        const Lock_guard lock(connections_mutex);
        admission.entered = enter(_request);
    }
    admission.sent = _op->send(_answer);
    return admission;
}

void _Linked_method::adapter_shutdown(Token _token) {
    const Packet* const pkt_ = _token.get_header_packet();
    {
        const Lock_guard lock(connections_mutex);
        leave(pkt_);
    }
    report_unlink(pkt_->get_src(), pkt_->header.error);
}

void _Linked_method::adapter_shutdown(Addr _client, Token _token) {
    {
        const Lock_guard lock(connections_mutex);
        if (disconnect_type(_client) == EMsg::null) return;
        lose(_client);
    }
    report_unlink(_client, _token.get_header_packet()->header.error);
}

void _Linked_method::report_unlink(Addr _client, Error _error) {
    wait_for_callbacks(&_client);
    g_last_error = _error;
    const Released released;
    tell_application(_client, _error);
}

void _Linked_method::disconnect_one_client_object(Addr _client) {
    if (!_op->is_created()) return;
    {
        const Lock_guard lock(connections_mutex);
        if (disconnect_type(_client) == EMsg::null) return;
        send_disconnect(_client);
        erase(_client);
    }
    wait_for_callbacks(&_client);
}

void _Linked_method::disconnect_all_client_object(bool _send) {
    if (_send && !_op->is_created()) return;
    {
        const Lock_guard lock(connections_mutex);
        if (_send) {
            for (const Addr client : linked()) send_disconnect(client);
        }
        erase_all();
    }
    // A stop does not wait: a callback that runs may itself wait for `mutex_01`.
    if (_send) wait_for_callbacks(nullptr);
}

void _Linked_method::send_disconnect(Addr _client) {
    send_to(_client, disconnect_type(_client), std::chrono::steady_clock::now(), 0, 0);
}

void _Linked_method::send_to(Addr _client, EMsg _type, ks_clock_t _clock, Pksize _size, mm_t _data_mm) {
    Token token;
    token.alloc_header_force();
    safe_add_ref_mm(_data_mm);
    token.data_mm = _data_mm;
    Packet* const pkt = token.get_header_packet();
    pkt->initialize_packet(c_loopback_ip, _clock, c_no_limit);
    pkt->initialize_header(_size, _op->get_msg_num(), _type, code, VORN_ERR_NONE_);
    pkt->set_to_proxy(_client, Addr(c_loopback_ip, _op->get_port()));
    if (_op->send(token) != 0) token.free();
}

}  // namespace Vorn35
