/// The two paths of a received message: to the adapter of its object, or to the waiter of an answer.

#include <algorithm>
#include <iterator>

#include "Vorn/INet_Relay/inet_relay.h"
#include "Vorn/SDK/Proxy/_Proxy.h"
#include "Vorn/SDK/Stub/_Stub.h"
#include "Vorn/Vorn_processor/Vorn_processor.h"
#include "Vorn/Vorn_processor/object_lock.h"
#include "Vorn/counters.h"
#include "Vorn/options.h"
#include "Vorn/receive_window.h"
#include "Vorn35/vorn_error.h"

namespace Vorn35 {

using namespace counters;

namespace {

template <class Map, class Key>
typename Map::mapped_type find_object(const Map& _objects, const Key& _key) {
    const auto found = _objects.find(_key);
    return found == _objects.end() ? nullptr : found->second;
}

/// Answers a failed message with a new header in its error form, if its type has one.
void send_back(const Packet* _pkt, Error _error, int (*_send)(Addr, Token, Packet*)) {
    Packet turned = *_pkt;
    if (!turned.backward_error_switch(_error)) return;
    Token token;
    token.alloc_header_force();
    Packet* const pkt = token.get_header_packet();
    *pkt = turned;
    if (_send(pkt->get_dst(), token, pkt) != 0) token.free();
}

}  // namespace

Error Vorn_processor::listener_processor(Token _token) {
    Unique_lock serial(serial_lock, std::adopt_lock);
    Packet* const pkt = _token.get_header_packet();
    bool is_directory = false;
    bool is_queued = false;
    {
        const Shared_hold hold;
        const ks_clock_t arrived = pkt->arrival_cpu_clock_counter;
        const bool expired = pkt->update_packet_time_and_return_timeout();
        waited_for_listener((pkt->arrival_cpu_clock_counter - arrived).count());
        if (expired) {
            expire(pkt);
            finish(_token);
            proc_wake();
            return 0;
        }
        const Msg_addr msg_addr(pkt->get_dst_port(), pkt->header.code,
                                trans_listen_type_to_transaction(pkt->get_msg_type()));
        // Read before the dispatch: an adapter on another thread may rewrite a queued request.
        is_directory = pkt->get_msg_type() == EMsg::ctrl_broadcast && pkt->header.code == c_directory_code;
        const bool to_proxy = pkt->get_client_gate_port() == 0;
        void* const object = to_proxy ? static_cast<void*>(find_object(remote_stubes, pkt->get_src()))
                                      : static_cast<void*>(find_object(local_stubes, pkt->get_dst_port()));
        std::shared_ptr<class_thread_qbuffer> qbuffer;
        const auto queue = [&] {
            if (object != nullptr) qbuffer = qbuffering(msg_addr, _token, pkt, object);
        };
        if (g_options.exact_order) {
            queue();
            serial.unlock();
        } else {
            serial.unlock();
            queue();
        }
        is_queued = qbuffer != nullptr;
        proc_wake();
        if (object == nullptr) {
            if (!is_directory) count(By_kind::unaddressed, pkt->get_msg_type());
            send_back(pkt, VORN_ERR_OBJECT_IS_NOT_EXIST_, to_proxy ? send_tcp_client : send_tcp_server);
        } else if (qbuffer != nullptr) {
            drain(qbuffer.get());
        } else {
            run_adapter(object, _token, to_proxy);
        }
        destroy_object_waited();
    }
    // Needs the exclusive hold, and no addressee.
    if (is_directory) recv_datagram_stubes_info(_token, pkt);
    // The queue has a reference of its own, and the thread that drains it finishes the message.
    is_queued ? _token.free() : finish(_token);
    return 0;
}

void Vorn_processor::expire(const Packet* _pkt) {
    count(By_kind::expired, _pkt->get_msg_type());
    if (!g_options.expire_queued || !_pkt->is_request()) return;
    // The answer needs a limit of its own: that of the request would make it expire, too.
    Packet answer = *_pkt;
    answer.initialize_packet(c_loopback_ip, _pkt->arrival_cpu_clock_counter, c_no_limit);
    send_back(&answer, VORN_ERR_REMOTE_TIMEOUT_, send_tcp_server);
}

void Vorn_processor::finish(Token _token) {
    g_receive_windows.give_back(_token);
    _token.free();
}

void Vorn_processor::run_adapter(void* _object_, Token _token, bool _to_proxy) {
    if (_to_proxy) {
        _Proxy* const proxy = _Proxy::of(static_cast<Proxy*>(_object_));
        const Dispatch dispatch(proxy->dispatches);
        proxy->adapter_proxy(_token);
    } else {
        _Stub* const stub = _Stub::of(static_cast<Stub*>(_object_));
        const Dispatch dispatch(stub->dispatches);
        stub->adapter_stub(_token);
    }
    if (g_options.complete_stops) complete_stops();
}

/// On the thread whose callback called `stop`, ahead of its next message.
void Vorn_processor::complete_stops() {
    {
        const Lock_guard lock(destroy_vect_mutex);
        if (destroy_vect.empty() && destroy_proxy_vect.empty()) return;
    }
    const Released released;
    const Exclusive_hold hold;
    std::vector<Stub*> stubs;
    std::vector<Proxy*> proxies;
    {
        const Lock_guard lock(destroy_vect_mutex);
        std::ranges::copy_if(destroy_vect, std::back_inserter(stubs),
                             [](const Stub* _stub) { return _Stub::of(_stub)->was_stopped_here(); });
        std::ranges::copy_if(destroy_proxy_vect, std::back_inserter(proxies),
                             [](const Proxy* _proxy) { return _Proxy::of(_proxy)->was_stopped_here(); });
    }
    for (Stub* const stub : stubs) _Stub::of(stub)->withdraw();
    for (Proxy* const proxy : proxies) _Proxy::of(proxy)->withdraw();
}

void Vorn_processor::drain(class_thread_qbuffer* _qbuffer) {
    Unique_lock lock(_qbuffer->m_lock);
    // The thread that is draining will come to this message, and this listener is free.
    if (_qbuffer->m_run) return;
    _qbuffer->m_run = true;
    while (!_qbuffer->empty()) {
        qtoken_t next = _qbuffer->front();
        _qbuffer->pop_front();
        lock.unlock();
        Packet* const pkt = next.token.get_header_packet();
        if (g_options.expire_queued && pkt->is_request() && pkt->update_packet_time_and_return_timeout()) {
            expire(pkt);
        } else {
            // One group may hold messages for stubs and proxies alike.
            run_adapter(next.object_, next.token, pkt->get_client_gate_port() == 0);
        }
        finish(next.token);
        lock.lock();
    }
    _qbuffer->m_run = false;
}

void Vorn_processor::destroy_object_waited() {
    const Lock_guard lock(destroy_vect_mutex);
}

void Vorn_processor::add_return(return_key_t _key, return_record_t* _record_) {
    const Lock_guard lock(return_map_mutex);
    returns.emplace(_key, _record_);
}

std::size_t Vorn_processor::outstanding() {
    const Lock_guard lock(return_map_mutex);
    return returns.size();
}

void Vorn_processor::del_return(return_key_t _key) {
    const Lock_guard lock(return_map_mutex);
    returns.erase(_key);
}

Error Vorn_processor::return_processor(Token _token) {
    const Packet* const pkt = _token.get_header_packet();
    const auto hand_over = [&_token](return_record_t* _record_) {
        _record_->token = _token;
        _record_->returned = true;
    };

    Unique_lock lock(return_map_mutex);
    if (pkt->get_msg_type() == EMsg::ctrl && pkt->header.code == c_tcp_disconnected_from_server) {
        std::vector<std::shared_ptr<return_record_t>> woken;
        for (const auto& [key, record] : returns) {
            if (Addr(key.ip, key.port) != pkt->get_src() || record->returned) continue;
            safe_add_ref_token(_token);
            hand_over(record);
            woken.push_back(record->shared_from_this());
        }
        lock.unlock();
        for (const auto& record : woken) record->notify();
        _token.free();
        return 0;
    }

    const auto found = returns.find(
        struct_return_key(pkt->get_src(), get_return_type(pkt->get_msg_type()), pkt->header.code, pkt->header.num));
    if (found != returns.end()) {
        // A second answer to one request is dropped. Deliberately, its blocks are not freed.
        if (found->second->returned) return 0;
        hand_over(found->second);
        // Notifies after the unlock, since the waiter needs the lock first. The waiter may end before, so share its record.
        const auto record = found->second->shared_from_this();
        lock.unlock();
        record->notify();
        return 0;
    }
    lock.unlock();
    return_unclaimed(_token);
    return 0;
}

/// Drops an answer that no thread waits for. The cancel deliberately goes to `send_tcp_server`: it reaches the service only if
/// the service's address is that of a connection that this process accepted, and is otherwise counted as unsent.
void Vorn_processor::return_unclaimed(Token _token) {
    count(Counter::answers_late);
    _token.free_data();
    send_back(_token.get_header_packet(), VORN_ERR_REMOTE_TIMEOUT_, send_tcp_server);
    _token.free_header();
}

}  // namespace Vorn35
